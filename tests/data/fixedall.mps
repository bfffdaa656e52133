* Every column fixed: one point, which is feasible.
NAME          FIXEDALL
ROWS
 N  COST
 E  R1
 L  R2
COLUMNS
    X         COST               2.0   R1                 1.0
    X         R2                 1.0
    Y         COST              -1.0   R1                 1.0
RHS
    RHS       R1                 5.0   R2                 4.0
BOUNDS
 FX BND       X                  3.0
 FX BND       Y                  2.0
ENDATA
