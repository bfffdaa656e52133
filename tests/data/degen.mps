* A transportation problem in which every basis is degenerate (supplies equal demands one by one)
* and whose rows are linearly dependent.
NAME          DEGEN
ROWS
 N  COST
 E  S1
 E  S2
 E  S3
 E  D1
 E  D2
 E  D3
COLUMNS
    X11       COST               4.0   S1                 1.0
    X11       D1                 1.0
    X12       COST               1.0   S1                 1.0
    X12       D2                 1.0
    X13       COST               3.0   S1                 1.0
    X13       D3                 1.0
    X21       COST               2.0   S2                 1.0
    X21       D1                 1.0
    X22       COST               5.0   S2                 1.0
    X22       D2                 1.0
    X23       COST               2.0   S2                 1.0
    X23       D3                 1.0
    X31       COST               3.0   S3                 1.0
    X31       D1                 1.0
    X32       COST               2.0   S3                 1.0
    X32       D2                 1.0
    X33       COST               2.0   S3                 1.0
    X33       D3                 1.0
RHS
    RHS       S1                10.0   S2                10.0
    RHS       S3                10.0   D1                10.0
    RHS       D2                10.0   D3                10.0
ENDATA
