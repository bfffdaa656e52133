* RANGES on every kind of row: G1 in [2, 5], L1 in [1, 4], EP in [3, 4] (positive), EN in [5, 7]
* (negative), E0 = 6 (range zero).
NAME          RANGES
OBJSENSE
    MAX
ROWS
 N  OBJ
 G  G1
 L  L1
 E  EP
 E  EN
 E  E0
COLUMNS
    A         OBJ                1.0   G1                 1.0
    B         OBJ               -1.0   L1                 1.0
    C         OBJ                1.0   EP                 1.0
    D         OBJ               -1.0   EN                 1.0
    E         OBJ                2.0   E0                 1.0
RHS
    RHS       G1                 2.0   L1                 4.0
    RHS       EP                 3.0   EN                 7.0
    RHS       E0                 6.0
RANGES
    RNG       G1                 3.0   L1                -3.0
    RNG       EP                 1.0   EN                -2.0
    RNG       E0                 0.0
ENDATA
