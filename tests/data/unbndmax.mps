* Dual infeasible as a maximum, by a free column.
NAME          UNBNDMAX
OBJSENSE
    MAX
ROWS
 N  PROFIT
 E  R1
COLUMNS
    X         PROFIT             1.0   R1                 1.0
    Y         PROFIT            -2.0   R1                 1.0
RHS
    RHS       R1                 1.0
BOUNDS
 FR BND       Y
ENDATA
