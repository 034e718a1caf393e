#include "named/Templates.h"

namespace kiv {
namespace {

constexpr std::string_view kRotor = R"(# A rotational spectrum. Replace the numbers, then:
#
#     kiv check FILE    what is understood, what is wrong or doubtful
#     kiv run FILE      calculates the lines, or fits when [fit] names measured ones
#
# What begins with # is a comment. Keys that are left out have the default shown behind them.

kiv = 1                               # format of this file
title = "SO2, ground vibrational state"
unit = "MHz"                          # or "cm-1": of constants, frequencies, uncertainties

# H = A Pa^2 + B Pb^2 + C Pc^2 - DJ P^4 - DJK P^2 Pa^2 - DK Pa^4 - ..., representation I^r.
# Constants from J. Mol. Spectrosc. 111, 66 (1985), quartic part.
[lower]
reduction = "A"                       # Watson's; with "S" write d1 and d2 for dJ and dK
A = 60778.5522
B = 10318.0722
C = 8799.7023
DJ = 0.0066610013
DJK = -0.1169588
DK = 2.5904328
dJ = 0.001701045
dK = 0.0253531
# fit = ["A", "B", "C", "DJ", "DJK", "DK", "dJ", "dK"]    # varied in a fit; default: none

[moment]
mu = [0.0, 1.633189, 0.0]             # dipole moment on a, b, c, signed, debye

[spectrum]
J_max = 75                            # highest J; default 35
temperature = 300.0                   # kelvin; 0: line strengths in place of intensities
min_intensity = 0.0                   # lines below it are left out
spin_weights = [1, 0, 1, 0]           # Ka Kc even-even, even-odd, odd-odd, odd-even
# delta_K = 7                         # largest change of Ka; default "all"
# range = [0.0, 1.0e6]                # only lines between these frequencies; default: all

# Measured lines, to fit the constants named above. A line file begins like this:
#
#     J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty
#     1,1,1,2,0,2,12256.584,0.010
#
# [fit]
# lines = "so2.csv"                   # or an .asn or .lin file, in the folder of this one
# reject = 5.0                        # leaves out lines beyond so many uncertainties
# weights = "uncertainties"           # or "uniform"
)";

constexpr std::string_view kBand =
    R"(# A band between two states, with all its P, Q and R lines. Replace the numbers, then:
#
#     kiv check FILE    what is understood, what is wrong or doubtful
#     kiv run FILE      calculates the lines, or fits when [fit] names measured ones
#
# What begins with # is a comment. Keys that are left out have the default shown behind them.

kiv = 1                               # format of this file
title = "7-azaindole, S1 - S0"
unit = "MHz"                          # or "cm-1": of constants, frequencies, uncertainties

# Constants from Laser Chem. 15, 167 (1995); the origin is made up.
[lower]
A = 3921.884936
B = 1701.921784
C = 1190.176058
# fit = ["A", "B", "C"]               # varied in a fit; default: none

[upper]
origin = 1000000.0                    # of the band
A = 3737.812366
B = 1701.382158
C = 1172.488303
# tilt = [0.0, 0.0, 0.0]              # phi, theta, chi of its axes against the basis, degrees
# relative = true                     # vary its constants as differences to [lower]
# fit = ["origin", "A", "B", "C"]

[moment]
magnitude = 1.0                       # debye
theta = 21.0                          # from the a axis, degrees
chi = 0.0                             # from b towards c, degrees
frame = "lower"                       # state whose axes these are

[spectrum]
J_max = 25                            # highest J; default 35
temperature = 4.0                     # kelvin; default 300
min_intensity = 0.0                   # lines below it are left out
# temperature2 = 15.0                 # a second temperature and
# weight2 = 0.1                       #   its weight
# delta_K = 3                         # largest change of Ka; default "all"
# spin_weights = [1, 1, 1, 1]         # Ka Kc even-even, even-odd, odd-odd, odd-even

# Measured lines, to fit the constants named above. A line file begins like this:
#
#     J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty
#     2,1,2,1,1,1,1005561.2,3.0
#
# [fit]
# lines = "band.csv"                  # or an .asn or .lin file, in the folder of this one
# reject = 5.0                        # leaves out lines beyond so many uncertainties
# weights = "uncertainties"           # or "uniform"
)";

}  // namespace

std::string_view RotorTemplate() { return kRotor; }

std::string_view BandTemplate() { return kBand; }

}  // namespace kiv
