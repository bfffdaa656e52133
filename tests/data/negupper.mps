* A negative upper bound and no lower bound: the lower bound becomes minus infinity.
NAME          NEGUPPER
ROWS
 N  COST
 G  R1
 G  R2
COLUMNS
    X         COST               1.0   R1                 1.0
    X         R2                 1.0
    Y         COST               2.0   R1                 1.0
RHS
    RHS       R1                -3.0   R2                -5.0
BOUNDS
 UP BND       X                 -2.0
ENDATA
