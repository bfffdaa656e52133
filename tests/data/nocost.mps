* A feasibility problem: every point of the triangle is optimal, with objective zero.
NAME          NOCOST
ROWS
 N  COST
 G  R1
 L  R2
COLUMNS
    X         R1                 1.0   R2                 1.0
    Y         R1                 1.0   R2                 2.0
RHS
    RHS       R1                 1.0   R2                 4.0
ENDATA
