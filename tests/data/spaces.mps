* Fixed columns only: names with blanks.
NAME          SPACES
ROWS
 N  TOTAL CO
 G  NEED 1
 G  NEED 2
COLUMNS
    RAW  A    TOTAL CO           2.0   NEED 1             1.0
    RAW  B    TOTAL CO           3.0   NEED 1             1.0
    RAW  B    NEED 2             1.0
RHS
    RHS 1     NEED 1             4.0   NEED 2             1.5
ENDATA
