* The RHS entry of the objective row is minus the constant: the optimum is 3 + 10.
NAME          OBJCONST
ROWS
 N  COST
 G  R1
COLUMNS
    X         COST               1.0   R1                 1.0
RHS
    RHS       COST             -10.0   R1                 3.0
ENDATA
