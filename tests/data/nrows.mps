* The first N row is the objective, the others are not constraints; two right-hand sides and two
* bound vectors, of each the first counts.
NAME          NROWS
ROWS
 N  FIRST
 N  SECOND
 G  R1
 N  THIRD
COLUMNS
    X         FIRST              1.0   SECOND            -7.0
    X         R1                 1.0   THIRD             -1.0
    Y         FIRST              3.0   R1                 1.0
RHS
    ONE       R1                 5.0
    TWO       R1               500.0
BOUNDS
 UP BNDA      X                  2.0
 UP BNDB      Y                  1.0
ENDATA
