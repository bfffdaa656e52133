* Dual infeasible: along (1, 1) the cost falls without end and both rows hold.
NAME          UNBOUNDE
ROWS
 N  COST
 L  R1
 G  R2
COLUMNS
    X         COST              -2.0   R1                 1.0
    X         R2                 1.0
    Y         COST               1.0   R1                -1.0
    Y         R2                 1.0
RHS
    RHS       R1                 3.0   R2                 1.0
ENDATA
