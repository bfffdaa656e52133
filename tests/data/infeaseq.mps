* Primal infeasible by parallel equalities with free columns: only a combination of rows shows it.
NAME          INFEASEQ
ROWS
 N  COST
 E  R1
 E  R2
 E  R3
COLUMNS
    X         COST               1.0   R1                 1.0
    X         R2                 1.0   R3                 2.0
    Y         R1                 1.0   R2                -1.0
    Z         R2                 1.0   R3                 1.0
    Z         R1                -0.0
RHS
    RHS       R1                 1.0   R2                 2.0
    RHS       R3                 4.0
BOUNDS
 FR BND       X
 FR BND       Y
 FR BND       Z
ENDATA
