* Covering with one column in every row among columns of two entries: the dense-column case.
* Figures drawn at random.
NAME          DENSECOL
ROWS
 N  COST
 G  R00
 G  R01
 G  R02
 G  R03
 G  R04
 G  R05
 G  R06
 G  R07
 G  R08
 G  R09
 G  R10
 G  R11
 G  R12
 G  R13
 G  R14
 G  R15
 G  R16
 G  R17
 G  R18
 G  R19
 G  R20
 G  R21
 G  R22
 G  R23
 G  R24
 G  R25
 G  R26
 G  R27
 G  R28
 G  R29
 G  R30
 G  R31
 G  R32
 G  R33
 G  R34
 G  R35
 G  R36
 G  R37
 G  R38
 G  R39
COLUMNS
    ALL       COST                50   R00                  1
    ALL       R01                  1   R02                  1
    ALL       R03                  1   R04                  1
    ALL       R05                  1   R06                  1
    ALL       R07                  1   R08                  1
    ALL       R09                  1   R10                  1
    ALL       R11                  1   R12                  1
    ALL       R13                  1   R14                  1
    ALL       R15                  1   R16                  1
    ALL       R17                  1   R18                  1
    ALL       R19                  1   R20                  1
    ALL       R21                  1   R22                  1
    ALL       R23                  1   R24                  1
    ALL       R25                  1   R26                  1
    ALL       R27                  1   R28                  1
    ALL       R29                  1   R30                  1
    ALL       R31                  1   R32                  1
    ALL       R33                  1   R34                  1
    ALL       R35                  1   R36                  1
    ALL       R37                  1   R38                  1
    ALL       R39                  1
    X00       COST                 6   R16                  1
    X00       R39                  4
    X01       COST                 3   R03                  1
    X01       R15                  3
    X02       COST                 7   R15                  1
    X02       R30                  2
    X03       COST                 7   R00                  3
    X03       R13                  2
    X04       COST                 2   R10                  2
    X04       R24                  4
    X05       COST                 1   R00                  2
    X05       R08                  2
    X06       COST                 6   R10                  2
    X06       R18                  2
    X07       COST                 7   R11                  3
    X07       R12                  1
    X08       COST                 3   R23                  2
    X08       R26                  3
    X09       COST                 5   R04                  1
    X09       R21                  3
    X10       COST                 6   R04                  3
    X10       R19                  4
    X11       COST                 8   R11                  4
    X11       R20                  2
    X12       COST                 1   R03                  3
    X12       R16                  4
    X13       COST                 7   R01                  3
    X13       R35                  4
    X14       COST                 8   R00                  1
    X14       R37                  2
    X15       COST                 2   R12                  2
    X15       R39                  4
    X16       COST                 6   R22                  3
    X16       R32                  4
    X17       COST                 6   R06                  3
    X17       R37                  1
    X18       COST                 4   R05                  3
    X18       R27                  3
    X19       COST                 5   R09                  1
    X19       R21                  3
    X20       COST                 3   R19                  1
    X20       R20                  2
    X21       COST                 3   R19                  1
    X21       R30                  1
    X22       COST                 7   R34                  1
    X22       R38                  2
    X23       COST                 5   R22                  4
    X23       R38                  4
    X24       COST                 1   R03                  4
    X24       R09                  3
    X25       COST                 3   R08                  4
    X25       R13                  1
    X26       COST                 6   R10                  2
    X26       R27                  1
    X27       COST                 3   R18                  4
    X27       R26                  2
    X28       COST                 8   R29                  3
    X28       R33                  4
    X29       COST                 8   R17                  4
    X29       R18                  2
    X30       COST                 9   R07                  2
    X30       R24                  4
    X31       COST                 2   R11                  4
    X31       R21                  3
    X32       COST                 9   R32                  3
    X32       R35                  1
    X33       COST                 1   R22                  3
    X33       R37                  3
    X34       COST                 8   R17                  3
    X34       R35                  3
    X35       COST                 1   R11                  4
    X35       R21                  3
    X36       COST                 8   R17                  3
    X36       R20                  3
    X37       COST                 6   R17                  4
    X37       R22                  3
    X38       COST                 6   R11                  3
    X38       R28                  2
    X39       COST                 4   R10                  3
    X39       R33                  4
    X40       COST                 7   R05                  2
    X40       R18                  4
    X41       COST                 9   R19                  3
    X41       R39                  1
    X42       COST                 8   R10                  2
    X42       R12                  2
    X43       COST                 8   R02                  2
    X43       R11                  2
    X44       COST                 2   R03                  3
    X44       R08                  2
    X45       COST                 9   R12                  1
    X45       R30                  4
    X46       COST                 7   R22                  1
    X46       R29                  2
    X47       COST                 1   R15                  3
    X47       R23                  4
    X48       COST                 2   R17                  3
    X48       R26                  1
    X49       COST                 5   R35                  1
    X49       R39                  3
    X50       COST                 6   R32                  3
    X50       R34                  3
    X51       COST                 7   R08                  3
    X51       R26                  4
    X52       COST                 7   R09                  4
    X52       R10                  2
    X53       COST                 2   R08                  3
    X53       R38                  1
    X54       COST                 6   R06                  2
    X54       R24                  3
    X55       COST                 7   R24                  4
    X55       R36                  2
    X56       COST                 8   R18                  4
    X56       R31                  4
    X57       COST                 5   R10                  3
    X57       R38                  4
    X58       COST                 1   R16                  3
    X58       R26                  3
    X59       COST                 3   R18                  4
    X59       R31                  1
RHS
    RHS       R00                  5
    RHS       R01                 11
    RHS       R02                  7
    RHS       R03                  8
    RHS       R04                  4
    RHS       R05                  6
    RHS       R06                 10
    RHS       R07                  4
    RHS       R08                 11
    RHS       R09                 12
    RHS       R10                 12
    RHS       R11                  8
    RHS       R12                  7
    RHS       R13                 11
    RHS       R14                  4
    RHS       R15                  7
    RHS       R16                 11
    RHS       R17                  8
    RHS       R18                  6
    RHS       R19                  8
    RHS       R20                  8
    RHS       R21                 11
    RHS       R22                 11
    RHS       R23                 12
    RHS       R24                  5
    RHS       R25                  4
    RHS       R26                  6
    RHS       R27                  8
    RHS       R28                  8
    RHS       R29                 12
    RHS       R30                  9
    RHS       R31                  8
    RHS       R32                 12
    RHS       R33                  4
    RHS       R34                 11
    RHS       R35                  9
    RHS       R36                  9
    RHS       R37                  6
    RHS       R38                  4
    RHS       R39                  4
ENDATA
