* No constraints: every column goes to the bound that its cost wants.
NAME          NOROWS
ROWS
 N  COST
COLUMNS
    X         COST               1.0
    Y         COST              -2.0
    Z         COST               3.0
BOUNDS
 UP BND       X                  5.0
 UP BND       Y                  4.0
 LO BND       Z                 -1.0
ENDATA
