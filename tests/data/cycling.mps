* A small example on which careless pivoting rules walk in circles (Beale 1955).
NAME          CYCLING
ROWS
 N  COST
 L  R1
 L  R2
 L  R3
COLUMNS
    X4        COST             -0.75   R1                0.25
    X4        R2                 0.5
    X5        COST             150.0   R1               -60.0
    X5        R2               -90.0
    X6        COST             -0.02   R1               -0.04
    X6        R2               -0.02   R3                 1.0
    X7        COST               6.0   R1                 9.0
    X7        R2                 3.0
RHS
    RHS       R3                 1.0
ENDATA
