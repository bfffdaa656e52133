* Production, stock and overtime of 3 products on 2 machines over 12 periods; the last stock has
* a lower bound. A staircase matrix. Figures drawn at random.
NAME          PLANNING
ROWS
 N  COST
 E  B001
 E  B101
 E  B201
 L  C001
 L  C101
 L  W01
 E  B002
 E  B102
 E  B202
 L  C002
 L  C102
 L  W02
 E  B003
 E  B103
 E  B203
 L  C003
 L  C103
 L  W03
 E  B004
 E  B104
 E  B204
 L  C004
 L  C104
 L  W04
 E  B005
 E  B105
 E  B205
 L  C005
 L  C105
 L  W05
 E  B006
 E  B106
 E  B206
 L  C006
 L  C106
 L  W06
 E  B007
 E  B107
 E  B207
 L  C007
 L  C107
 L  W07
 E  B008
 E  B108
 E  B208
 L  C008
 L  C108
 L  W08
 E  B009
 E  B109
 E  B209
 L  C009
 L  C109
 L  W09
 E  B010
 E  B110
 E  B210
 L  C010
 L  C110
 L  W10
 E  B011
 E  B111
 E  B211
 L  C011
 L  C111
 L  W11
 E  B012
 E  B112
 E  B212
 L  C012
 L  C112
 L  W12
COLUMNS
    X001      COST              3.25   B001                 1
    X001      C001              1.18   C101              1.34
    S001      COST               0.3   B001                -1
    S001      B002                 1   W01                  1
    X101      COST              4.25   B101                 1
    X101      C001              1.89   C101               1.2
    S101      COST               0.4   B101                -1
    S101      B102                 1   W01                  1
    X201      COST              5.25   B201                 1
    X201      C001              1.26   C101              1.38
    S201      COST               0.5   B201                -1
    S201      B202                 1   W01                  1
    O001      COST               4.5   C001                -1
    O101      COST               4.5   C101                -1
    X002      COST               3.5   B002                 1
    X002      C002              1.18   C102              1.34
    S002      COST               0.3   B002                -1
    S002      B003                 1   W02                  1
    X102      COST               4.5   B102                 1
    X102      C002              1.89   C102               1.2
    S102      COST               0.4   B102                -1
    S102      B103                 1   W02                  1
    X202      COST               5.5   B202                 1
    X202      C002              1.26   C102              1.38
    S202      COST               0.5   B202                -1
    S202      B203                 1   W02                  1
    O002      COST               4.5   C002                -1
    O102      COST               4.5   C102                -1
    X003      COST              3.75   B003                 1
    X003      C003              1.18   C103              1.34
    S003      COST               0.3   B003                -1
    S003      B004                 1   W03                  1
    X103      COST              4.75   B103                 1
    X103      C003              1.89   C103               1.2
    S103      COST               0.4   B103                -1
    S103      B104                 1   W03                  1
    X203      COST              5.75   B203                 1
    X203      C003              1.26   C103              1.38
    S203      COST               0.5   B203                -1
    S203      B204                 1   W03                  1
    O003      COST               4.5   C003                -1
    O103      COST               4.5   C103                -1
    X004      COST                 4   B004                 1
    X004      C004              1.18   C104              1.34
    S004      COST               0.3   B004                -1
    S004      B005                 1   W04                  1
    X104      COST                 5   B104                 1
    X104      C004              1.89   C104               1.2
    S104      COST               0.4   B104                -1
    S104      B105                 1   W04                  1
    X204      COST                 6   B204                 1
    X204      C004              1.26   C104              1.38
    S204      COST               0.5   B204                -1
    S204      B205                 1   W04                  1
    O004      COST               4.5   C004                -1
    O104      COST               4.5   C104                -1
    X005      COST                 3   B005                 1
    X005      C005              1.18   C105              1.34
    S005      COST               0.3   B005                -1
    S005      B006                 1   W05                  1
    X105      COST                 4   B105                 1
    X105      C005              1.89   C105               1.2
    S105      COST               0.4   B105                -1
    S105      B106                 1   W05                  1
    X205      COST                 5   B205                 1
    X205      C005              1.26   C105              1.38
    S205      COST               0.5   B205                -1
    S205      B206                 1   W05                  1
    O005      COST               4.5   C005                -1
    O105      COST               4.5   C105                -1
    X006      COST              3.25   B006                 1
    X006      C006              1.18   C106              1.34
    S006      COST               0.3   B006                -1
    S006      B007                 1   W06                  1
    X106      COST              4.25   B106                 1
    X106      C006              1.89   C106               1.2
    S106      COST               0.4   B106                -1
    S106      B107                 1   W06                  1
    X206      COST              5.25   B206                 1
    X206      C006              1.26   C106              1.38
    S206      COST               0.5   B206                -1
    S206      B207                 1   W06                  1
    O006      COST               4.5   C006                -1
    O106      COST               4.5   C106                -1
    X007      COST               3.5   B007                 1
    X007      C007              1.18   C107              1.34
    S007      COST               0.3   B007                -1
    S007      B008                 1   W07                  1
    X107      COST               4.5   B107                 1
    X107      C007              1.89   C107               1.2
    S107      COST               0.4   B107                -1
    S107      B108                 1   W07                  1
    X207      COST               5.5   B207                 1
    X207      C007              1.26   C107              1.38
    S207      COST               0.5   B207                -1
    S207      B208                 1   W07                  1
    O007      COST               4.5   C007                -1
    O107      COST               4.5   C107                -1
    X008      COST              3.75   B008                 1
    X008      C008              1.18   C108              1.34
    S008      COST               0.3   B008                -1
    S008      B009                 1   W08                  1
    X108      COST              4.75   B108                 1
    X108      C008              1.89   C108               1.2
    S108      COST               0.4   B108                -1
    S108      B109                 1   W08                  1
    X208      COST              5.75   B208                 1
    X208      C008              1.26   C108              1.38
    S208      COST               0.5   B208                -1
    S208      B209                 1   W08                  1
    O008      COST               4.5   C008                -1
    O108      COST               4.5   C108                -1
    X009      COST                 4   B009                 1
    X009      C009              1.18   C109              1.34
    S009      COST               0.3   B009                -1
    S009      B010                 1   W09                  1
    X109      COST                 5   B109                 1
    X109      C009              1.89   C109               1.2
    S109      COST               0.4   B109                -1
    S109      B110                 1   W09                  1
    X209      COST                 6   B209                 1
    X209      C009              1.26   C109              1.38
    S209      COST               0.5   B209                -1
    S209      B210                 1   W09                  1
    O009      COST               4.5   C009                -1
    O109      COST               4.5   C109                -1
    X010      COST                 3   B010                 1
    X010      C010              1.18   C110              1.34
    S010      COST               0.3   B010                -1
    S010      B011                 1   W10                  1
    X110      COST                 4   B110                 1
    X110      C010              1.89   C110               1.2
    S110      COST               0.4   B110                -1
    S110      B111                 1   W10                  1
    X210      COST                 5   B210                 1
    X210      C010              1.26   C110              1.38
    S210      COST               0.5   B210                -1
    S210      B211                 1   W10                  1
    O010      COST               4.5   C010                -1
    O110      COST               4.5   C110                -1
    X011      COST              3.25   B011                 1
    X011      C011              1.18   C111              1.34
    S011      COST               0.3   B011                -1
    S011      B012                 1   W11                  1
    X111      COST              4.25   B111                 1
    X111      C011              1.89   C111               1.2
    S111      COST               0.4   B111                -1
    S111      B112                 1   W11                  1
    X211      COST              5.25   B211                 1
    X211      C011              1.26   C111              1.38
    S211      COST               0.5   B211                -1
    S211      B212                 1   W11                  1
    O011      COST               4.5   C011                -1
    O111      COST               4.5   C111                -1
    X012      COST               3.5   B012                 1
    X012      C012              1.18   C112              1.34
    S012      COST               0.3   B012                -1
    S012      W12                  1
    X112      COST               4.5   B112                 1
    X112      C012              1.89   C112               1.2
    S112      COST               0.4   B112                -1
    S112      W12                  1
    X212      COST               5.5   B212                 1
    X212      C012              1.26   C112              1.38
    S212      COST               0.5   B212                -1
    S212      W12                  1
    O012      COST               4.5   C012                -1
    O112      COST               4.5   C112                -1
RHS
    RHS       B001                10
    RHS       B101                30
    RHS       B201                21
    RHS       C001                85
    RHS       C101                85
    RHS       W01                 60
    RHS       B002                20
    RHS       B102                25
    RHS       B202                24
    RHS       C002                85
    RHS       C102                85
    RHS       W02                 60
    RHS       B003                30
    RHS       B103                10
    RHS       B203                 8
    RHS       C003                85
    RHS       C103                85
    RHS       W03                 60
    RHS       B004                19
    RHS       B104                14
    RHS       B204                 9
    RHS       C004                60
    RHS       C104                60
    RHS       W04                 60
    RHS       B005                 7
    RHS       B105                22
    RHS       B205                30
    RHS       C005                85
    RHS       C105                85
    RHS       W05                 60
    RHS       B006                27
    RHS       B106                25
    RHS       B206                 6
    RHS       C006                85
    RHS       C106                85
    RHS       W06                 60
    RHS       B007                24
    RHS       B107                17
    RHS       B207                19
    RHS       C007                85
    RHS       C107                85
    RHS       W07                 60
    RHS       B008                25
    RHS       B108                28
    RHS       B208                24
    RHS       C008                60
    RHS       C108                60
    RHS       W08                 60
    RHS       B009                25
    RHS       B109                10
    RHS       B209                24
    RHS       C009                85
    RHS       C109                85
    RHS       W09                 60
    RHS       B010                 5
    RHS       B110                21
    RHS       B210                 7
    RHS       C010                85
    RHS       C110                85
    RHS       W10                 60
    RHS       B011                 6
    RHS       B111                 6
    RHS       B211                11
    RHS       C011                85
    RHS       C111                85
    RHS       W11                 60
    RHS       B012                12
    RHS       B112                24
    RHS       B212                 5
    RHS       C012                60
    RHS       C112                60
    RHS       W12                 60
BOUNDS
 UP BND       O001                15
 UP BND       O101                15
 UP BND       O002                15
 UP BND       O102                15
 UP BND       O003                15
 UP BND       O103                15
 UP BND       O004                15
 UP BND       O104                15
 UP BND       O005                15
 UP BND       O105                15
 UP BND       O006                15
 UP BND       O106                15
 UP BND       O007                15
 UP BND       O107                15
 UP BND       O008                15
 UP BND       O108                15
 UP BND       O009                15
 UP BND       O109                15
 UP BND       O010                15
 UP BND       O110                15
 UP BND       O011                15
 UP BND       O111                15
 UP BND       O012                15
 UP BND       O112                15
 LO BND       S012                 5
 LO BND       S112                 5
 LO BND       S212                 5
ENDATA
