NAME          MAXIMIZE
OBJSENSE
    MAX
ROWS
 N  PROFIT
 L  PLANT1
 L  PLANT2
 L  PLANT3
COLUMNS
    X1        PROFIT             3.0   PLANT1             1.0
    X1        PLANT3             3.0
    X2        PROFIT             5.0   PLANT2             2.0
    X2        PLANT3             2.0
RHS
    RHS       PLANT1             4.0   PLANT2            12.0
    RHS       PLANT3            18.0
ENDATA
