* An upper bound of zero over the default lower bound fixes the column at zero.
NAME          ZEROUPPER
ROWS
 N  COST
 G  R1
COLUMNS
    X         COST               1.0   R1                 1.0
    Y         COST               4.0   R1                 2.0
RHS
    RHS       R1                 6.0
BOUNDS
 UP BND       X                  0.0
ENDATA
