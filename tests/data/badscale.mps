* small.mps in other units of rows and columns: coefficients from 2e-7 to 1e5, optimum (0.002, 6e4).
NAME          BADSCALE
ROWS
 N  COST
 L  PLANT1
 L  PLANT2
 L  PLANT3
COLUMNS
    X1        COST            -3.0E3   PLANT1           1.0E+5
    X1        PLANT3          3.0E+1
    X2        COST           -5.0E-4   PLANT2           2.0E-7
    X2        PLANT3          2.0E-6
RHS
    RHS       PLANT1           4.0E2   PLANT2           1.2E-2
    RHS       PLANT3         18.0E-2
ENDATA
