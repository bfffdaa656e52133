* One column for each kind of bound; row SUM keeps the free directions in place.
*   A default  B UP 4  C LO 1  D LO -2 UP 3  E FX 2.5  F FR  G MI (to 0 by UP)  H PL  I UP -1 over MI
* A to E and G sit at a bound in the optimum; LINK sets F, FLOOR sets I.
NAME          BOUNDS
ROWS
 N  COST
 G  SUM
 E  LINK
 G  FLOOR
COLUMNS
    A         COST               2.0   SUM                1.0
    B         COST              -1.0   SUM                1.0
    C         COST               1.0   SUM                1.0
    D         COST               1.0   SUM                1.0
    E         COST               3.0   SUM                1.0
    F         COST               1.0   LINK               1.0
    G         COST              -2.0   SUM                1.0
    H         LINK              -1.0   COST               1.0
    H         FLOOR              1.0
    I         COST               1.0   FLOOR              1.0
RHS
    RHS       SUM                2.0   LINK              -3.0
    RHS       FLOOR             -4.0
BOUNDS
 UP BND       B                  4.0
 LO BND       C                  1.0
 LO BND       D                 -2.0
 UP BND       D                  3.0
 FX BND       E                  2.5
 FR BND       F
 MI BND       G
 UP BND       G                  0.0
 PL BND       H
 MI BND       I
 UP BND       I                 -1.0
ENDATA
