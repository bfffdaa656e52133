* Free form only: long names, one blank between fields, a comment in the middle, lower-case numbers.
NAME a_model_with_a_long_name
ROWS
 N total_cost_of_everything
 G demand_of_the_northern_region
 L capacity_of_the_southern_plant
COLUMNS
 shipped_from_south_to_north total_cost_of_everything 2.5e0 demand_of_the_northern_region 1
 shipped_from_south_to_north capacity_of_the_southern_plant 1
* the second column is dear
 bought_on_the_spot_market total_cost_of_everything 4 demand_of_the_northern_region 1
RHS
 rhs demand_of_the_northern_region 10 capacity_of_the_southern_plant 6
ENDATA
