* The cheapest diet: what to eat a day of four foods for enough energy, protein and calcium,
* with at most so many portions of each. The optimum is 9.25.
NAME          DIET
ROWS
 N  COST
 G  ENERGY
 G  PROTEIN
 G  CALCIUM
COLUMNS
    OATS      COST               0.3   ENERGY             110
    OATS      PROTEIN              4   CALCIUM              2
    CHICKEN   COST               2.4   ENERGY             205
    CHICKEN   PROTEIN             32   CALCIUM             12
    MILK      COST               0.9   ENERGY             160
    MILK      PROTEIN              8   CALCIUM            285
    PIE       COST                 2   ENERGY             420
    PIE       PROTEIN              4   CALCIUM             22
RHS
    RHS       ENERGY            2000
    RHS       PROTEIN             55
    RHS       CALCIUM            800
BOUNDS
 UP BND       OATS                 4
 UP BND       CHICKEN              3
 UP BND       MILK                 8
 UP BND       PIE                  2
ENDATA
