* Free columns and equalities only in part: min |x - 3| + |y + 2| with x + y = 4 through splitting.
NAME          FREE
ROWS
 N  COST
 E  DX
 E  DY
 E  LINK
COLUMNS
    X         DX                 1.0   LINK               1.0
    Y         DY                 1.0   LINK               1.0
    XP        COST               1.0   DX                -1.0
    XM        COST               1.0   DX                 1.0
    YP        COST               1.0   DY                -1.0
    YM        COST               1.0   DY                 1.0
RHS
    RHS       DX                 3.0   DY                -2.0
    RHS       LINK               4.0
BOUNDS
 FR BND       X
 FR BND       Y
ENDATA
