#!/usr/bin/env python3
"""Makes the whole runs of tests/runs/: input and expected files, every number a closed form.

    tools/make_runs.py [FOLDER]     FOLDER defaults to tests/runs of this checkout

Python 3, standard library alone. Two rigid rotors up to J = 1 have the levels 0, B+C, A+C, A+B
and twelve lines, whose strengths are 1 (between J = 0 and 1) or 3/2 (within J = 1) times the
percentage of the moment on a, b or c. The constants are such that all numbers are exact in
binary. Nothing here is read from the program or from its output.

rigid_J1      a complete run; its input file, in the written layout, comes back unchanged
wrong_parity  a run that stops before the calculation and leaves earlier results alone
"""

import math
import os
import struct
import sys

from make_examples import input_file

STATES = [{"A": 9.0, "B": 5.0, "C": 3.0}, {"A": 8.0, "B": 4.5, "C": 3.25}]
ORIGIN = 100.0
MOMENT = (20.0, 30.0, 50.0)  # percent on a, b, c
COMMENT = "rigid rotors to J 1, every result a closed form"
OBSERVED = {((1, 1, 1), (0, 0, 0)): (111.5, 0.25), ((1, 0, 1), (1, 1, 1)): (95.5, 0.5)}

# Level, its energy as coefficients of A, B, C; in ascending order.
LEVELS = [((0, 0, 0), (0, 0, 0)), ((1, 0, 1), (0, 1, 1)), ((1, 1, 1), (1, 0, 1)),
          ((1, 1, 0), (1, 1, 0))]

RUN = {
    "comment": COMMENT, "base": "input", "asn": "lines.asn", "states": STATES, "origin": ORIGIN,
    "fit_stat": 1, "red_stat": 1, "max_j": 1, "delta_k": 2, "cutoff": 0.01,
    "tm_method": 1, "moment": MOMENT, "temp": 0.0,
}

LABELS = ["A", "B", "C", "PX", "PY", "PZ", "PXPY", "PXPZ", "PYPZ", "DK", "DJK", "DJ", "dK", "dJ",
          "PZ3", "PX3", "PY3", "PZ2PX", "PZ2PY", "PX2PZ", "PY2PZ", "PZ5", "ORI"]


def energy(state, coefficients):
    return sum(k * STATES[state][n] for k, n in zip(coefficients, "ABC"))


def band(upper, lower):
    """0 a, 1 b, 2 c, or None for a forbidden pair, from the parities of Ka and Kc."""
    odd = ((upper[1] - lower[1]) % 2, (upper[2] - lower[2]) % 2)
    return {(0, 1): 0, (1, 1): 1, (1, 0): 2}.get(odd)


def all_lines():
    """Type, upper, lower, strength, position, observed, uncertainty, lower index, derivatives."""
    lines = []
    for i, (lower, low) in enumerate(LEVELS):
        for upper, up in LEVELS:
            kind = band(upper, lower)
            if kind is None or upper[0] == lower[0] == 0:
                continue
            strength = (1.5 if upper[0] == lower[0] else 1.0) * MOMENT[kind] / 100.0
            position = ORIGIN + energy(1, up) - energy(0, low)
            obs, unc = OBSERVED.get((upper, lower), (0.0, 0.0))
            derivatives = [-float(k) for k in low] + list(up)  # 0 gives -0
            lines.append(("ABC"[kind], upper, lower, strength, position, obs, unc, i, derivatives))
    assert len(lines) == 12
    return sorted(lines, key=lambda line: -line[4])


def angles():
    """Squared magnitude, THE and CHI in degrees of the moment."""
    u = [math.sqrt(p / 100.0) for p in MOMENT]
    degree = 57.29577951322445
    return (1.0, math.acos(u[0]) * degree, math.atan2(u[2], u[1]) * degree)


def text_list(lines):
    text = ("BT J'Ka'Kc'  J\"Ka\"Kc\" Sij*Mu**2       OBL        CALC         OmC"
            "     GND ERG (CM-1)\n")
    for kind, upper, lower, strength, position, obs, _, i, _ in reversed(lines):
        text += "%s %2d %2d %2d %3d %2d %2d " % (kind, *upper, *lower)
        text += "%8.4f %11.4f %11.4f" % (strength, obs, position)
        text += " %11.4f" % (obs - position) if obs else " " * 12
        text += " %11.4f\n" % (energy(0, LEVELS[i][1]) / 29979.2458)
    return text


def binary(lines):
    head = bytearray(13310)

    def put(offset, form, *values):
        struct.pack_into("<" + form, head, offset, *values)

    put(0, "8s", b"QZS v1.6")
    for state in (0, 1):
        values = [STATES[state][n] for n in "ABC"]
        put(1316 + 200 * state, "3i", 1, 1, 1)
        put(3658 + 400 * state, "3d", *values)
    put(1604, "i", 1)
    put(4234, "d", ORIGIN)
    put(3008, "3d", *angles())
    put(3056, "d", 20836.7381265)
    put(3154, "i", 22)
    for slot, label in enumerate(LABELS):
        put(3158 + 10 * slot, "5s", b"%-5s" % label.encode())
    put(5262, "4i", len(lines), 2, 2, 0)  # lines; read, assigned, rejected
    put(5278, "3i", 2, 1, 1)              # first set; derivatives, energies present
    put(5294, "i", 6)
    put(5306, "i", 4)
    put(5366, "8s", b"KIV v5.6")

    body = b"".join(struct.pack("<d", line[4]) for line in lines)
    body += b"".join(struct.pack("<d", line[5]) for line in lines)
    body += b"".join(struct.pack("<f", line[6]) for line in lines)
    body += b"".join(struct.pack("<f", line[3]) for line in lines)
    body += "".join(line[0] for line in lines).encode()
    body += b"".join(struct.pack("<6h", *line[1], *line[2]) for line in lines)
    body += b"".join(struct.pack("<6d", *line[8]) for line in lines)
    body += struct.pack("<4d", *(energy(0, k) for _, k in LEVELS))
    body += b"".join(struct.pack("<i", line[7]) for line in lines)
    return bytes(head) + body


def constants_table():
    def cell(label, value, last):
        number = "%.4e" % value if label in LABELS[9:14] else "%.6f" % value
        return "%-5s = %s" % (label, number if last else number.ljust(22))

    text = ""
    for state, title in enumerate(("GROUND  STATE :\n", "\nEXCITED STATE :\n")):
        text += title
        for slot, label in enumerate(LABELS[:22]):
            text += cell(label, STATES[state].get(label, 0.0), slot % 3 == 2)
            text += "\n" if slot % 3 == 2 or slot == 21 else ""
    return text + "\nORI   = %.6f\n" % ORIGIN


DOUBLE, SINGLE = "=" * 80 + "\n", "-" * 80 + "\n"


def input_log():
    text = DOUBLE + ">" * 16 + " KIVANTA (kiv) PROGRAM VERSION v5.6 " + "<" * 16 + "\n" + DOUBLE
    text += "\n" + DOUBLE + ">" * 24 + " PHASE 0 - PARAMETER INPUT " + "<" * 29 + "\n" + DOUBLE
    text += "\n" + COMMENT + "\n\n" + SINGLE
    text += " " * 29 + "HAMILTONIAN PARAMETERS\n" + constants_table() + SINGLE
    return text + "MAXIMUM J AND K CALCULATED = 1\n"


def run_log(lines):
    def row(x, y, z):
        return "%-34.6f%-34.6f%.6f\n" % (x, y, z)

    text = input_log() + SINGLE
    text += " " * 23 + "TRANSFORMED HAMILTONIAN PARAMETERS\n" + constants_table()
    text += SINGLE + " " * 30 + "ASSIGNMENT INFORMATION\n" + SINGLE
    text += "ASSIGNMENT FILENAME              = lines.asn\n"
    text += "NUMBER OF ASSIGNMENTS READ       = 2\nREJECTED ASN Ka:Kc > Ka:Kc MAX   = 0\n" + SINGLE
    text += "ASN UNCERTAINTIES IGNORED - PRM STD DEV BASED ON OMC\n"
    text += DOUBLE + ">" * 20 + " PHASE I - EIGEN ENERGIES AND VECTORS " + "<" * 22 + "\n" + DOUBLE
    for state, name in enumerate(("GROUND", "EXCITED")):
        a, b, c = (STATES[state][n] for n in "ABC")
        text += SINGLE + " " * 17 + name + " STATE HAMILTONIAN PARAMETER MATRIX\n" + SINGLE
        text += "B(X)".ljust(34) + "C(Y)".ljust(34) + "A(Z)\n"
        text += row(b, 0, 0) + row(0, c, 0) + row(0, 0, a) + "\nREAL MATRIX ELEMENTS ONLY\n"
        text += "%s STATE KAPPA=%-18.6f INERTIAL DEFECT=%.6f\n" % (
            name, (2 * b - a - c) / (a - c), 505379.0765 * (1 / c - 1 / b - 1 / a))
    text += DOUBLE + ">" * 19 + " PHASE II - TRANSITIONS AND INTENSITIES " + "<" * 21 + "\n" + DOUBLE
    text += " " * 14 + "TRANSITION MOMENT ORIENTATION AND BAND TYPE CHARACTER \n"
    text += "TM ORIENTATION WITH MU PROJECTIONS:\n"
    triple = "%-12f" + " " * 11 + "%s%-12f" + " " * 11 + "%s%f\n"
    mag, theta, chi = angles()
    text += "MAG  = " + triple % (mag, "THE  = ", theta, "CHI  = ", chi)
    part = [p / 100.0 for p in MOMENT]
    text += "A MAG= " + triple % (part[0], "B MAG= ", part[1], "C MAG= ", part[2])
    part = [math.sqrt(p) for p in part]
    text += "A PRJ= " + triple % (part[0], "B PRJ= ", part[1], "C PRJ= ", part[2])
    text += DOUBLE + ">" * 28 + " PHASE III - LINESET " + "<" * 31 + "\n" + DOUBLE
    text += "DELTA K ORDER      = 2  \n"
    text += "TEMPERATURES(K) T1 = 0.000      T2 = 0.000      WT = 0.000     \n"
    text += "INTENSITY CUT      = 0.010\n\nLINESET input.QZS\n"
    text += "NUMBER OF CALCULATED LINES        = %d\n" % len(lines)
    text += "NUMBER OF ASSIGNED LINES          = 2\nNUMBER OF REJECTED LINES          = 0\n"
    return text + DOUBLE


CONSOLE_INPUT = """VERSION NUMBER OF INPUT FILE [input.in] IS [v5.6]

KIV VERSION v5.6

PHASE    0 - PARAMETER INPUT
"""
CONSOLE_RUN = """ASN UNCERTAINTIES IGNORED - PRM STD DEV BASED ON OMC
PHASE    I - GROUND STATE EIGEN ENERGIES AND VECTORS
PHASE    I - EXCITED STATE EIGEN ENERGIES AND VECTORS
PHASE   II - CALCULATION OF TRANSITIONS
PHASE  III - GENERATION OF LINESET
"""
CONSOLE_END = "PHASE    X - PROGRAM TERMINATION\n"


def assignments():
    text = ""
    for (upper, lower), (obs, unc) in OBSERVED.items():
        text += "%s %d %d %d  %d %d %d  %.4f %.4f\n" % (
            "ABC"[band(upper, lower)], *upper, *lower, obs, unc)
    return text


def rigid_run():
    lines = all_lines()
    return {
        "input.in": input_file(RUN),
        "lines.asn": assignments(),
        "expected/input.in": input_file(RUN),
        "expected/input.asc": text_list(lines),
        "expected/input.log": run_log(lines),
        "expected/input.QZS": binary(lines),
        "expected/console.txt": CONSOLE_INPUT + CONSOLE_RUN + CONSOLE_END,
        "expected/outcome.txt": "status 0\npauses\n",
    }


def wrong_parity():
    message = "PARITY SELECTION STATUS 'y' INCORRECT -> Y OR N ONLY !\n"
    parity = "  %-18s %-18s %s\n"
    return {
        "input.in": input_file(RUN).replace(parity % ("N", "E", "O"), parity % ("y", "E", "O")),
        "input.asc": "an earlier line list\n",
        "input.QZS": "an earlier line set\n",
        "expected/input.log": input_log() + message + DOUBLE,
        "expected/console.txt": CONSOLE_INPUT + CONSOLE_END,
        "expected/outcome.txt": "status 0\npauses 3\n",
    }


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "tests", "runs")
    for case, files in {"rigid_J1": rigid_run(), "wrong_parity": wrong_parity()}.items():
        os.makedirs(os.path.join(root, case, "expected"), exist_ok=True)
        for name, content in files.items():
            with open(os.path.join(root, case, name), "wb") as out:
                out.write(content if isinstance(content, bytes) else content.encode("ascii"))


if __name__ == "__main__":
    main()
