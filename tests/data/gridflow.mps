* Minimum-cost flow of 7 units through a 7 x 7 grid with capacities, corner to corner: one
* dependent row, many ties. Costs 1 .. 20 and capacities drawn at random.
NAME          GRIDFLOW
ROWS
 N  COST
 E  N00
 E  N01
 E  N02
 E  N03
 E  N04
 E  N05
 E  N06
 E  N10
 E  N11
 E  N12
 E  N13
 E  N14
 E  N15
 E  N16
 E  N20
 E  N21
 E  N22
 E  N23
 E  N24
 E  N25
 E  N26
 E  N30
 E  N31
 E  N32
 E  N33
 E  N34
 E  N35
 E  N36
 E  N40
 E  N41
 E  N42
 E  N43
 E  N44
 E  N45
 E  N46
 E  N50
 E  N51
 E  N52
 E  N53
 E  N54
 E  N55
 E  N56
 E  N60
 E  N61
 E  N62
 E  N63
 E  N64
 E  N65
 E  N66
COLUMNS
    R00       COST                11   N00                  1
    R00       N01                 -1
    D00       COST                13   N00                  1
    D00       N10                 -1
    R01       COST                 3   N01                  1
    R01       N02                 -1
    D01       COST                 4   N01                  1
    D01       N11                 -1
    L01       COST                19   N01                  1
    L01       N00                 -1
    R02       COST                17   N02                  1
    R02       N03                 -1
    D02       COST                 2   N02                  1
    D02       N12                 -1
    L02       COST                14   N02                  1
    L02       N01                 -1
    R03       COST                 3   N03                  1
    R03       N04                 -1
    D03       COST                 3   N03                  1
    D03       N13                 -1
    L03       COST                14   N03                  1
    L03       N02                 -1
    R04       COST                19   N04                  1
    R04       N05                 -1
    D04       COST                 8   N04                  1
    D04       N14                 -1
    L04       COST                 2   N04                  1
    L04       N03                 -1
    R05       COST                19   N05                  1
    R05       N06                 -1
    D05       COST                 2   N05                  1
    D05       N15                 -1
    L05       COST                 2   N05                  1
    L05       N04                 -1
    D06       COST                 5   N06                  1
    D06       N16                 -1
    L06       COST                14   N06                  1
    L06       N05                 -1
    R10       COST                18   N10                  1
    R10       N11                 -1
    D10       COST                19   N10                  1
    D10       N20                 -1
    U10       COST                18   N10                  1
    U10       N00                 -1
    R11       COST                 4   N11                  1
    R11       N12                 -1
    D11       COST                19   N11                  1
    D11       N21                 -1
    L11       COST                12   N11                  1
    L11       N10                 -1
    U11       COST                18   N11                  1
    U11       N01                 -1
    R12       COST                19   N12                  1
    R12       N13                 -1
    D12       COST                20   N12                  1
    D12       N22                 -1
    L12       COST                16   N12                  1
    L12       N11                 -1
    U12       COST                14   N12                  1
    U12       N02                 -1
    R13       COST                15   N13                  1
    R13       N14                 -1
    D13       COST                15   N13                  1
    D13       N23                 -1
    L13       COST                10   N13                  1
    L13       N12                 -1
    U13       COST                 6   N13                  1
    U13       N03                 -1
    R14       COST                 3   N14                  1
    R14       N15                 -1
    D14       COST                10   N14                  1
    D14       N24                 -1
    L14       COST                16   N14                  1
    L14       N13                 -1
    U14       COST                15   N14                  1
    U14       N04                 -1
    R15       COST                20   N15                  1
    R15       N16                 -1
    D15       COST                 4   N15                  1
    D15       N25                 -1
    L15       COST                14   N15                  1
    L15       N14                 -1
    U15       COST                11   N15                  1
    U15       N05                 -1
    D16       COST                16   N16                  1
    D16       N26                 -1
    L16       COST                 2   N16                  1
    L16       N15                 -1
    U16       COST                18   N16                  1
    U16       N06                 -1
    R20       COST                11   N20                  1
    R20       N21                 -1
    D20       COST                12   N20                  1
    D20       N30                 -1
    U20       COST                16   N20                  1
    U20       N10                 -1
    R21       COST                15   N21                  1
    R21       N22                 -1
    D21       COST                 3   N21                  1
    D21       N31                 -1
    L21       COST                16   N21                  1
    L21       N20                 -1
    U21       COST                 2   N21                  1
    U21       N11                 -1
    R22       COST                19   N22                  1
    R22       N23                 -1
    D22       COST                10   N22                  1
    D22       N32                 -1
    L22       COST                12   N22                  1
    L22       N21                 -1
    U22       COST                15   N22                  1
    U22       N12                 -1
    R23       COST                 6   N23                  1
    R23       N24                 -1
    D23       COST                 4   N23                  1
    D23       N33                 -1
    L23       COST                 2   N23                  1
    L23       N22                 -1
    U23       COST                10   N23                  1
    U23       N13                 -1
    R24       COST                 8   N24                  1
    R24       N25                 -1
    D24       COST                13   N24                  1
    D24       N34                 -1
    L24       COST                 3   N24                  1
    L24       N23                 -1
    U24       COST                15   N24                  1
    U24       N14                 -1
    R25       COST                18   N25                  1
    R25       N26                 -1
    D25       COST                 5   N25                  1
    D25       N35                 -1
    L25       COST                18   N25                  1
    L25       N24                 -1
    U25       COST                14   N25                  1
    U25       N15                 -1
    D26       COST                13   N26                  1
    D26       N36                 -1
    L26       COST                 5   N26                  1
    L26       N25                 -1
    U26       COST                 6   N26                  1
    U26       N16                 -1
    R30       COST                 8   N30                  1
    R30       N31                 -1
    D30       COST                 1   N30                  1
    D30       N40                 -1
    U30       COST                19   N30                  1
    U30       N20                 -1
    R31       COST                 9   N31                  1
    R31       N32                 -1
    D31       COST                 1   N31                  1
    D31       N41                 -1
    L31       COST                14   N31                  1
    L31       N30                 -1
    U31       COST                12   N31                  1
    U31       N21                 -1
    R32       COST                19   N32                  1
    R32       N33                 -1
    D32       COST                 5   N32                  1
    D32       N42                 -1
    L32       COST                20   N32                  1
    L32       N31                 -1
    U32       COST                15   N32                  1
    U32       N22                 -1
    R33       COST                13   N33                  1
    R33       N34                 -1
    D33       COST                13   N33                  1
    D33       N43                 -1
    L33       COST                 4   N33                  1
    L33       N32                 -1
    U33       COST                13   N33                  1
    U33       N23                 -1
    R34       COST                 7   N34                  1
    R34       N35                 -1
    D34       COST                 7   N34                  1
    D34       N44                 -1
    L34       COST                 6   N34                  1
    L34       N33                 -1
    U34       COST                11   N34                  1
    U34       N24                 -1
    R35       COST                 2   N35                  1
    R35       N36                 -1
    D35       COST                 1   N35                  1
    D35       N45                 -1
    L35       COST                 5   N35                  1
    L35       N34                 -1
    U35       COST                 4   N35                  1
    U35       N25                 -1
    D36       COST                20   N36                  1
    D36       N46                 -1
    L36       COST                 3   N36                  1
    L36       N35                 -1
    U36       COST                20   N36                  1
    U36       N26                 -1
    R40       COST                 5   N40                  1
    R40       N41                 -1
    D40       COST                12   N40                  1
    D40       N50                 -1
    U40       COST                12   N40                  1
    U40       N30                 -1
    R41       COST                 4   N41                  1
    R41       N42                 -1
    D41       COST                16   N41                  1
    D41       N51                 -1
    L41       COST                16   N41                  1
    L41       N40                 -1
    U41       COST                10   N41                  1
    U41       N31                 -1
    R42       COST                 5   N42                  1
    R42       N43                 -1
    D42       COST                11   N42                  1
    D42       N52                 -1
    L42       COST                16   N42                  1
    L42       N41                 -1
    U42       COST                17   N42                  1
    U42       N32                 -1
    R43       COST                 7   N43                  1
    R43       N44                 -1
    D43       COST                12   N43                  1
    D43       N53                 -1
    L43       COST                18   N43                  1
    L43       N42                 -1
    U43       COST                17   N43                  1
    U43       N33                 -1
    R44       COST                 3   N44                  1
    R44       N45                 -1
    D44       COST                17   N44                  1
    D44       N54                 -1
    L44       COST                 6   N44                  1
    L44       N43                 -1
    U44       COST                 8   N44                  1
    U44       N34                 -1
    R45       COST                18   N45                  1
    R45       N46                 -1
    D45       COST                11   N45                  1
    D45       N55                 -1
    L45       COST                20   N45                  1
    L45       N44                 -1
    U45       COST                 8   N45                  1
    U45       N35                 -1
    D46       COST                 8   N46                  1
    D46       N56                 -1
    L46       COST                17   N46                  1
    L46       N45                 -1
    U46       COST                12   N46                  1
    U46       N36                 -1
    R50       COST                 1   N50                  1
    R50       N51                 -1
    D50       COST                16   N50                  1
    D50       N60                 -1
    U50       COST                 7   N50                  1
    U50       N40                 -1
    R51       COST                12   N51                  1
    R51       N52                 -1
    D51       COST                12   N51                  1
    D51       N61                 -1
    L51       COST                 3   N51                  1
    L51       N50                 -1
    U51       COST                 4   N51                  1
    U51       N41                 -1
    R52       COST                16   N52                  1
    R52       N53                 -1
    D52       COST                11   N52                  1
    D52       N62                 -1
    L52       COST                16   N52                  1
    L52       N51                 -1
    U52       COST                20   N52                  1
    U52       N42                 -1
    R53       COST                16   N53                  1
    R53       N54                 -1
    D53       COST                 3   N53                  1
    D53       N63                 -1
    L53       COST                13   N53                  1
    L53       N52                 -1
    U53       COST                16   N53                  1
    U53       N43                 -1
    R54       COST                14   N54                  1
    R54       N55                 -1
    D54       COST                 3   N54                  1
    D54       N64                 -1
    L54       COST                15   N54                  1
    L54       N53                 -1
    U54       COST                 3   N54                  1
    U54       N44                 -1
    R55       COST                 6   N55                  1
    R55       N56                 -1
    D55       COST                 1   N55                  1
    D55       N65                 -1
    L55       COST                19   N55                  1
    L55       N54                 -1
    U55       COST                 5   N55                  1
    U55       N45                 -1
    D56       COST                20   N56                  1
    D56       N66                 -1
    L56       COST                12   N56                  1
    L56       N55                 -1
    U56       COST                18   N56                  1
    U56       N46                 -1
    R60       COST                 5   N60                  1
    R60       N61                 -1
    U60       COST                 1   N60                  1
    U60       N50                 -1
    R61       COST                17   N61                  1
    R61       N62                 -1
    L61       COST                14   N61                  1
    L61       N60                 -1
    U61       COST                 7   N61                  1
    U61       N51                 -1
    R62       COST                 9   N62                  1
    R62       N63                 -1
    L62       COST                10   N62                  1
    L62       N61                 -1
    U62       COST                 8   N62                  1
    U62       N52                 -1
    R63       COST                11   N63                  1
    R63       N64                 -1
    L63       COST                18   N63                  1
    L63       N62                 -1
    U63       COST                 5   N63                  1
    U63       N53                 -1
    R64       COST                12   N64                  1
    R64       N65                 -1
    L64       COST                19   N64                  1
    L64       N63                 -1
    U64       COST                14   N64                  1
    U64       N54                 -1
    R65       COST                 5   N65                  1
    R65       N66                 -1
    L65       COST                 5   N65                  1
    L65       N64                 -1
    U65       COST                17   N65                  1
    U65       N55                 -1
    L66       COST                15   N66                  1
    L66       N65                 -1
    U66       COST                20   N66                  1
    U66       N56                 -1
RHS
    RHS       N00                  7
    RHS       N66                 -7
BOUNDS
 UP BND       R00                  4
 UP BND       D00                  3
 UP BND       R01                  8
 UP BND       D01                  5
 UP BND       L01                  3
 UP BND       R02                  4
 UP BND       D02                  3
 UP BND       L02                  6
 UP BND       R03                  4
 UP BND       D03                  8
 UP BND       L03                  3
 UP BND       R04                  3
 UP BND       D04                  8
 UP BND       L04                  8
 UP BND       R05                  6
 UP BND       D05                  4
 UP BND       L05                  8
 UP BND       D06                  5
 UP BND       L06                  4
 UP BND       R10                  3
 UP BND       D10                  5
 UP BND       U10                  4
 UP BND       R11                  8
 UP BND       D11                  4
 UP BND       L11                  3
 UP BND       U11                  3
 UP BND       R12                  3
 UP BND       D12                  4
 UP BND       L12                  8
 UP BND       U12                  5
 UP BND       R13                  8
 UP BND       D13                  5
 UP BND       L13                  4
 UP BND       U13                  4
 UP BND       R14                  8
 UP BND       D14                  8
 UP BND       L14                  5
 UP BND       U14                  5
 UP BND       R15                  3
 UP BND       D15                  8
 UP BND       L15                  4
 UP BND       U15                  4
 UP BND       D16                  6
 UP BND       L16                  3
 UP BND       U16                  8
 UP BND       R20                  5
 UP BND       D20                  8
 UP BND       U20                  8
 UP BND       R21                  3
 UP BND       D21                  5
 UP BND       L21                  3
 UP BND       U21                  5
 UP BND       R22                  6
 UP BND       D22                  6
 UP BND       L22                  3
 UP BND       U22                  5
 UP BND       R23                  8
 UP BND       D23                  6
 UP BND       L23                  4
 UP BND       U23                  4
 UP BND       R24                  6
 UP BND       D24                  6
 UP BND       L24                  4
 UP BND       U24                  6
 UP BND       R25                  5
 UP BND       D25                  6
 UP BND       L25                  5
 UP BND       U25                  5
 UP BND       D26                  4
 UP BND       L26                  3
 UP BND       U26                  4
 UP BND       R30                  4
 UP BND       D30                  6
 UP BND       U30                  4
 UP BND       R31                  5
 UP BND       D31                  4
 UP BND       L31                  8
 UP BND       U31                  8
 UP BND       R32                  5
 UP BND       D32                  8
 UP BND       L32                  3
 UP BND       U32                  8
 UP BND       R33                  6
 UP BND       D33                  6
 UP BND       L33                  6
 UP BND       U33                  3
 UP BND       R34                  3
 UP BND       D34                  6
 UP BND       L34                  3
 UP BND       U34                  8
 UP BND       R35                  3
 UP BND       D35                  8
 UP BND       L35                  8
 UP BND       U35                  5
 UP BND       D36                  3
 UP BND       L36                  4
 UP BND       U36                  6
 UP BND       R40                  5
 UP BND       D40                  8
 UP BND       U40                  6
 UP BND       R41                  3
 UP BND       D41                  6
 UP BND       L41                  6
 UP BND       U41                  3
 UP BND       R42                  3
 UP BND       D42                  5
 UP BND       L42                  4
 UP BND       U42                  3
 UP BND       R43                  8
 UP BND       D43                  4
 UP BND       L43                  3
 UP BND       U43                  5
 UP BND       R44                  5
 UP BND       D44                  5
 UP BND       L44                  5
 UP BND       U44                  8
 UP BND       R45                  8
 UP BND       D45                  4
 UP BND       L45                  4
 UP BND       U45                  6
 UP BND       D46                  4
 UP BND       L46                  6
 UP BND       U46                  3
 UP BND       R50                  5
 UP BND       D50                  5
 UP BND       U50                  8
 UP BND       R51                  6
 UP BND       D51                  5
 UP BND       L51                  4
 UP BND       U51                  4
 UP BND       R52                  4
 UP BND       D52                  4
 UP BND       L52                  8
 UP BND       U52                  3
 UP BND       R53                  5
 UP BND       D53                  3
 UP BND       L53                  4
 UP BND       U53                  4
 UP BND       R54                  5
 UP BND       D54                  6
 UP BND       L54                  6
 UP BND       U54                  4
 UP BND       R55                  4
 UP BND       D55                  4
 UP BND       L55                  6
 UP BND       U55                  8
 UP BND       D56                  6
 UP BND       L56                  4
 UP BND       U56                  8
 UP BND       R60                  3
 UP BND       U60                  3
 UP BND       R61                  4
 UP BND       L61                  4
 UP BND       U61                  3
 UP BND       R62                  4
 UP BND       L62                  8
 UP BND       U62                  8
 UP BND       R63                  5
 UP BND       L63                  6
 UP BND       U63                  3
 UP BND       R64                  6
 UP BND       L64                  8
 UP BND       U64                  8
 UP BND       R65                  8
 UP BND       L65                  8
 UP BND       U65                  3
 UP BND       L66                  4
 UP BND       U66                  3
ENDATA
