* Primal infeasible by a row without entries: 0 >= 1.
NAME          INFEASEM
ROWS
 N  COST
 G  R1
 G  EMPTY
COLUMNS
    X         COST               1.0   R1                 1.0
RHS
    RHS       R1                 1.0   EMPTY              1.0
ENDATA
