* What to make of three products in a week: the largest profit within machine hours, with a
* contract for at least 10 tables.
NAME          PLAN
OBJSENSE
    MAX
ROWS
 N  PROFIT
 L  TURNING
 L  MILLING
 L  PAINT
COLUMNS
    CHAIR     PROFIT              45   TURNING            1.5
    CHAIR     MILLING            0.5   PAINT              0.8
    TABLE     PROFIT              80   TURNING              2
    TABLE     MILLING            2.5   PAINT              1.2
    SHELF     PROFIT              30   MILLING              1
    SHELF     PAINT              0.6
RHS
    RHS       TURNING             80
    RHS       MILLING             70
    RHS       PAINT               48
BOUNDS
 LO BND       TABLE               10
 UP BND       SHELF               25
ENDATA
