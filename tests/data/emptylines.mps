* An empty row that holds (0 <= 3), a column in no row with a cost and a bound, one without cost.
NAME          EMPTYLIN
ROWS
 N  COST
 L  EMPTY
 G  R1
COLUMNS
    X         COST               1.0   R1                 2.0
    LONELY    COST              -1.0
    IDLE      R1                 0.0
RHS
    RHS       EMPTY              3.0   R1                 8.0
BOUNDS
 UP BND       LONELY             7.0
ENDATA
