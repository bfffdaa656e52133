* Lines end in CR LF, and the RHS and BOUNDS vectors have no name.
NAME          CRLF
ROWS
 N  COST
 G  R1
COLUMNS
    X         COST               1.0   R1                 1.0
    Y         COST               2.0   R1                 1.0
RHS
              R1                 5.0
BOUNDS
 UP           X                  3.0
ENDATA
