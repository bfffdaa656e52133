* Primal infeasible by two rows: x + y >= 4 and x + 2 y <= 3 with x <= 2.
NAME          INFEASRO
ROWS
 N  COST
 G  R1
 L  R2
COLUMNS
    X         COST               1.0   R1                 1.0
    X         R2                 1.0
    Y         COST               1.0   R1                 1.0
    Y         R2                 2.0
RHS
    RHS       R1                 4.0   R2                 3.0
BOUNDS
 UP BND       X                  2.0
ENDATA
