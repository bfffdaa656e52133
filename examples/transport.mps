* Shipping from three plants with limited supply to five towns at the least cost.
NAME          TRANSPOR
ROWS
 N  COST
 L  BREMEN
 L  LYON
 L  TURIN
 E  BERN
 E  GENT
 E  KIEL
 E  NICE
 E  PRAG
COLUMNS
    BREBERN   COST                 8   BREMEN               1
    BREBERN   BERN                 1
    BREGENT   COST                 4   BREMEN               1
    BREGENT   GENT                 1
    BREKIEL   COST                 2   BREMEN               1
    BREKIEL   KIEL                 1
    BRENICE   COST                13   BREMEN               1
    BRENICE   NICE                 1
    BREPRAG   COST                 6   BREMEN               1
    BREPRAG   PRAG                 1
    LYOBERN   COST                 3   LYON                 1
    LYOBERN   BERN                 1
    LYOGENT   COST                 7   LYON                 1
    LYOGENT   GENT                 1
    LYOKIEL   COST                12   LYON                 1
    LYOKIEL   KIEL                 1
    LYONICE   COST                 5   LYON                 1
    LYONICE   NICE                 1
    LYOPRAG   COST                10   LYON                 1
    LYOPRAG   PRAG                 1
    TURBERN   COST                 4   TURIN                1
    TURBERN   BERN                 1
    TURGENT   COST                10   TURIN                1
    TURGENT   GENT                 1
    TURKIEL   COST                14   TURIN                1
    TURKIEL   KIEL                 1
    TURNICE   COST                 3   TURIN                1
    TURNICE   NICE                 1
    TURPRAG   COST                 9   TURIN                1
    TURPRAG   PRAG                 1
RHS
    RHS       BREMEN              35
    RHS       LYON                50
    RHS       TURIN               40
    RHS       BERN                24
    RHS       GENT                31
    RHS       KIEL                18
    RHS       NICE                27
    RHS       PRAG                20
ENDATA
