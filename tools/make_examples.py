#!/usr/bin/env python3
"""Makes the input and assignment files of examples/ from published constants and measured lines.

    tools/make_examples.py [FOLDER]      FOLDER defaults to examples/ of this checkout

Python 3, standard library alone. The input files have the layout, to the byte, of the program's
own next-input file, so that a run with no fit cycle writes its input file back unchanged; only the
constants of H2COH+ stand there with all their published digits, of which the program writes eleven.
The
measured lines come from tools/measured/*.csv (upper J Ka Kc, lower J Ka Kc, frequency,
uncertainty); their sources stand in the first line of each. The README files of the examples are
written by hand.
"""

import os
import sys

GROUND, EXCITED = 0, 1

# Groups of one state's block, in file order: constants, and the comment above their values.
GROUPS = [
    (("PZ", "PX", "PY"), "<PZ>(A), <PX>(B) & <PY>(C) CONSTANTS"),
    (("PXPY", "PXPZ", "PYPZ"), "<PXPY + PYPX>, <PXPZ + PZPX> & <PYPZ + PZPX> CONSTANTS"),
    (("DJ", "DJK", "DK"), "<DJ>, <DJK> & <DK> WATSON D DISTORTION CONSTANTS"),
    (("dJ", "dK"), None),  # named by the reduction
    (("PZ3", "PX3", "PY3"), "<PZ**3>, <PX**3>, <PY**3> CONSTANTS"),
    (("PZ2PX", "PZ2PY"), "<PZ**2PX>, <PZ**2PY> CONSTANTS"),
    (("PX2PZ", "PY2PZ", "PZ5"), "<PX**2PZ>, <PY**2PZ>, <PZ**5> CONSTANTS"),
]

RULE = "#" * 80 + "\n"


def columns(formats, values):
    return "  " + " ".join(f % v for f, v in zip(formats, values)) + "\n"


def short_line(values):
    return columns(["%-18d"] * (len(values) - 1) + ["%d"], values)


def constant_line(values):
    """Eleven digits, as the program writes them, or all digits of a constant that has more."""
    texts = ["%.10e" % v if float("%.10e" % v) == v else repr(v) for v in values]
    return columns(["%-19s"] * (len(values) - 1) + ["%s"], texts)


def state_block(run, state):
    """Values, status and fit indicators of one state; a constant is on when it has a value."""
    label = ("GROUND", "EXCITED")[state]
    values = run["states"][state] if state < len(run["states"]) else {}
    fit = run.get("fit", ()) if state == run.get("fit_state", GROUND) else ()
    indicators = f"# {label} STATE FIT INDICATORS: 0|1=OFF|ON\n"
    is_a_form = run["red_stat"] == 1 or run["red_stat"] == state + 2

    def fit_line(names):
        return indicators + short_line([int(n in fit) for n in names]) + "\n"

    text = f"# {label} STATE A, B AND C ROTATIONAL CONSTANTS:\n"
    text += constant_line([values.get(n, 0.0) for n in "ABC"])
    text += f"# {label} STATE PHI, THETA AND CHI EULER ANGLES (UHU-1 CCW+):\n"
    text += columns(["%-18f", "%-18f", "%f"], run.get("tilt", {}).get(state, (0.0, 0.0, 0.0)))
    text += fit_line("ABC")
    for names, title in GROUPS:
        if title is None:
            title = ("<dJ> & <dK>" if is_a_form else "<d1> & <d2>") + " WATSON D DISTORTION"
        text += f"# {label} STATE STATUS OF CONSTANTS:\n"
        text += short_line([int(n in values) for n in names])
        text += f"# {label} STATE {title}:\n"
        text += constant_line([values.get(n, 0.0) for n in names])
        text += fit_line(names)
    return text


def input_file(run):
    g = run.get
    text = RULE
    text += "#                         KIV INPUT FILE : VERSION v5.6                        #\n"
    text += RULE + "\n"
    text += "# COMMENT LINE (< 500 CHARACTERS WITH NEW LINE END):\n"
    text += f"  {run['comment']}\n\n"
    text += "# OUT BASE FLNM (EXTENSIONS WILL BE ADDED) & ASSIGNMENT FLNM & NEXT INPUT FLNM:\n"
    text += "  %-17s %-17s %s\n\n\n" % (run["base"], run["asn"], run["base"] + ".in")
    text += state_block(run, GROUND) + state_block(run, EXCITED)
    text += "# ORIGIN FREQUENCY AND FIT INDICATOR: 0|1=FIXED|FIT\n"
    text += "  %.15e\n  %d\n\n\n" % (g("origin", 0.0), g("fit_origin", 0))
    text += ("# FIT & A REDUCTION STATUS: 0=GND|1=EXC ABS|2=EXC DEL|3=GND CD|4=EXC CD"
             " & 0|1|2=GND|3=EXC\n")
    text += "  %-18d %-18d\n\n" % (run["fit_stat"], run["red_stat"])
    text += "# MAX J & DELTA K ORDER & ITN CUTOFF: 35 & 0|1|2 & 0.01\n"
    text += "  %-18d %-18d %-f\n\n" % (run["max_j"], run["delta_k"], run["cutoff"])
    text += "# NUCLEAR SPIN WTS (EE:EO:OO:OE): 5 & 7 & 5 & 7\n"
    text += short_line(g("spin", (1, 1, 1, 1))) + "\n"
    text += "# TRANSITION MOMENT METHOD & REFERENCE FRAME: 0|1=ANG|%INT & 0|1=GND|EXE FRAME\n"
    text += short_line((run["tm_method"], 0)) + "\n"
    text += "# TRANSITION MOMENT (CCW+): TM MAG/THETA/CHI FROM A | %INT ON A(Z) & B(X) & C(Y)\n"
    text += columns(["%-18f", "%-18f", "%f"], run["moment"]) + "\n"
    text += "# TEMPERATURES(K) T1 & T2 & T2 WT & ERG UNITS: 3.0 & 5.0 & 0.01 & MHz|CM-1\n"
    text += columns(["%-18.6f"] * 3 + ["%s"], (run["temp"], 0.0, 0.0, "MHz")) + "\n"
    text += "# LS FIT CYCS & UNIFORM UNC STAT & REJ LEVEL: 0(-1)|1=OFF|ON & 0|1 & 1|..\n"
    text += columns(["%-18d", "%-18d", "%f"],
                    (g("cycles", 0), g("uniform", 1), g("reject", 500.0))) + "\n"
    text += "# ASN Ka MAX & ASN Kc MAX: -1=ALL & -1=ALL\n" + short_line((-1, -1)) + "\n"
    text += "# GND & EXC STATE EIGENVALUES & VECTORS LOGGED: 0|.. TO -1|.. & 0|.. TO -1|..\n"
    text += short_line((0, -1)) + short_line((0, -1)) + "\n"
    text += "# PARITY STAT & GND & EXE KaKc PARITY PRODUCTS: N|Y=OFF|ON & E|O & E|O\n"
    text += columns(["%-18s", "%-18s", "%s"], ("N", "E", "O")) + "\n"
    text += "# OLD MC FORMAT STATUS & ERG & ITN SCALARS & FSR: 0|1=QZ FORMAT OFF|ON\n"
    text += columns(["%-18d", "%-18.2f", "%-18.2f", "%f"], (0, 1.0, 1.0, 599.504)) + "\n"
    text += "# DEBUG STATUS FOR PHASE ALL & 0 & I & II & III & IV: 0|1=OFF|ON\n"
    text += columns(["%-10d"] * 5 + ["%d"], (0,) * 6)
    return text + RULE


def assignment_file(csv_path):
    """One line an assignment: band type, J' Ka' Kc', J'' Ka'' Kc'', frequency, uncertainty."""
    text = ""
    with open(csv_path, encoding="ascii") as lines:
        for line in lines:
            if not line[0].isdigit():
                continue
            *qn, frq, unc = line.split(",")
            qn = [int(n) for n in qn]
            odd_ka, odd_kc = (qn[1] - qn[4]) % 2, (qn[2] - qn[5]) % 2
            band = {(0, 1): "A", (1, 1): "B", (1, 0): "C"}[odd_ka, odd_kc]
            text += "%2s %-4d %-3d %-3d   %-3d %-3d %-3d   " % (band, *qn)
            text += "%.6f %.6f\n" % (float(frq), float(unc))
    return text


# Constants in MHz; d1 and d2 of the S reduction stand in the dJ and dK slots.

SO2 = {  # P. Helminger, F. C. De Lucia, J. Mol. Spectrosc. 111, 66 (1985), quartic part
    "A": 60778.5522, "B": 10318.0722, "C": 8799.7023,
    "DJ": 0.0066610013, "DJK": -0.1169588, "DK": 2.5904328,
    "dJ": 0.001701045, "dK": 0.0253531,
}
# Cologne Database for Molecular Spectroscopy, entry H2COH+. Eleven digits would not do: rounded so,
# they move lines to J 25 by up to 0.00018 MHz.
H2COH_PLUS = {
    "A": 197581.5594329546, "B": 34350.54739588455, "C": 29172.6542525329,
    "DJ": 0.05534126336114131, "DJK": 0.6291980947077179, "DK": 6.464408205562103,
    "dJ": -0.009531001642388043, "dK": -0.001933016057371318,
}
AZAINDOLE_S0 = {"A": 3921.884936, "B": 1701.921784, "C": 1190.176058}  # Laser Chem. 15, 167 (1995)
AZAINDOLE_S1 = {"A": 3737.812366, "B": 1701.382158, "C": 1172.488303}

SO2_MOMENT = 1.633189  # debye, along b


def rough(constants):
    """Start values of a fit: A, B, C too large by 0.1 %, no distortion."""
    return {n: float("%.10e" % (1.001 * v)) if n in "ABC" else 0.0 for n, v in constants.items()}


SO2_RUN = {
    "comment": "SO2 v=0, quartic constants of J. Mol. Spectrosc. 111, 66 (1985), 300 K",
    "base": "so2", "asn": "so2.asn", "states": [SO2],
    "fit_stat": 0, "red_stat": 1, "max_j": 40, "delta_k": 7, "cutoff": 0.001,
    "spin": (1, 0, 1, 0), "tm_method": 0, "moment": (SO2_MOMENT ** 2, 90.0, 0.0), "temp": 300.0,
}
H2COH_PLUS_RUN = {
    "comment": "H2COH+ ground state, constants of the CDMS entry, 100 K",
    "base": "h2coh_plus", "asn": "h2coh_plus.asn", "states": [H2COH_PLUS],
    "fit_stat": 0, "red_stat": 0, "max_j": 25, "delta_k": 3, "cutoff": 0.001,
    "tm_method": 1, "moment": (100.0, 100.0, 0.0), "temp": 100.0,
}
FIT = {"fit": tuple(SO2), "cycles": 5, "uniform": 0, "reject": 100000.0}

EXAMPLES = {
    "so2/so2.in": SO2_RUN,
    "so2/fit.in": {
        **SO2_RUN, **FIT, "base": "so2_fit", "states": [rough(SO2)],
        "comment": "SO2 v=0, fit of 74 lines, A, B, C start 0.1 % too large, no distortion",
    },
    "h2coh_plus/h2coh_plus.in": H2COH_PLUS_RUN,
    "h2coh_plus/fit.in": {
        **H2COH_PLUS_RUN, **FIT, "base": "h2coh_plus_fit", "states": [rough(H2COH_PLUS)],
        "comment": "H2COH+, fit of 32 lines, A, B, C start 0.1 % too large, no distortion",
    },
    "7-azaindole/7-azaindole.in": {
        "comment": "7-azaindole S1<-S0, Laser Chem. 15, 167 (1995), rigid rotors, 4 K",
        "base": "7-azaindole", "asn": "7-azaindole.asn",
        "states": [AZAINDOLE_S0, AZAINDOLE_S1], "origin": 1.0e6,
        "fit_stat": 1, "red_stat": 1, "max_j": 25, "delta_k": 2, "cutoff": 0.01,
        "tm_method": 1, "moment": (87.157242, 12.842759, 0.0), "temp": 4.0,
    },
}
EXAMPLES["7-azaindole/tilted.in"] = {
    **EXAMPLES["7-azaindole/7-azaindole.in"], "base": "tilted", "tilt": {EXCITED: (0.0, 5.0, 0.0)},
    "comment": "7-azaindole S1<-S0, axes of S1 tilted by 5 degrees (made up), 4 K",
}
MEASURED = {"so2/so2.asn": "so2.csv", "h2coh_plus/h2coh_plus.asn": "h2coh_plus.csv"}


def main():
    tools = os.path.dirname(os.path.abspath(__file__))
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(tools, "..", "examples")
    files = {name: input_file(run) for name, run in EXAMPLES.items()}
    for name, csv in MEASURED.items():
        files[name] = assignment_file(os.path.join(tools, "measured", csv))
    for name, text in files.items():
        path = os.path.join(root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="ascii", newline="\n") as out:
            out.write(text)


if __name__ == "__main__":
    main()
