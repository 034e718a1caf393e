#!/usr/bin/env python3
"""Makes the whole runs of tests/runs/: input and expected files, every number a closed form.

    tools/make_runs.py [FOLDER]     FOLDER defaults to tests/runs of this checkout

Python 3, standard library alone. Two rigid rotors up to J = 1 have the levels 0, B+C, A+C, A+B
and twelve lines, whose strengths are 1 (between J = 0 and 1) or 3/2 (within J = 1) times the
percentage of the moment on a, b or c. The constants are such that all numbers are exact in
binary. Nothing here is read from the program or from its output.

rigid_J1       a complete run; its input file, in the written layout, comes back unchanged; PXPZ has
               a value but is off, one assigned line is forbidden, the levels are listed
a_type_J1      the same rotors with parity selection for a-type lines
fit_J1         a fit of A of both states to lines with known misfits, two of them rejected
tilted_J1      a complex run: the axes of the excited state are turned by three Euler angles
wrong_parity, wrong_ka, wrong_kc    runs that stop before the calculation
too_few_lines  a fit that stops for want of lines
unknown_unit, wrong_version, no_number, ends_early    input files that cannot be used

Runs that stop leave earlier results alone.

fit_J1. The two columns of the fit are orthogonal and have four entries of size 1 each, so the
covariance is 1/4 of the unit matrix and all steps are exact; the misfits of +-1/4 cancel in both
columns, so the first cycle finds the true constants and the second one the same again. One of the
rejected lines is off by the rejection level exactly.

tilted_J1. A level of J = 1 is the axis along which it has no angular momentum: a for B+C, b for
A+C, c for A+B. Energies do not change with the tilt. With unit vectors u'' and u' of the two
levels, strengths are (mu.u)^2 between J = 0 and 1 and 3/2 (mu.(u'' x u'))^2 within J = 1. The
angles are good to 13 digits, so of the binary file only the size is known.
"""

import math
import os
import struct
import sys

from make_examples import columns, constant_line, input_file, short_line

TRUE = [{"A": 9.0, "B": 5.0, "C": 3.0}, {"A": 8.0, "B": 4.5, "C": 3.25}]
ORIGIN = 100.0
MOMENT = (20.0, 30.0, 50.0)  # percent on a, b, c
COMMENT = "rigid rotors to J 1, every result a closed form"
OBSERVED = {((1, 1, 1), (0, 0, 0)): (111.5, 0.25), ((1, 0, 1), (1, 1, 1)): (95.5, 0.5)}
FORBIDDEN = {((0, 0, 0), (0, 0, 0)): (99.0, 0.5), **OBSERVED}
OFF = [{**TRUE[0], "PXPZ": 0.5}, TRUE[1]]  # in the file, but switched off

# Level, its energy as coefficients of A, B, C; in ascending order.
LEVELS = [((0, 0, 0), (0, 0, 0)), ((1, 0, 1), (0, 1, 1)), ((1, 1, 1), (1, 0, 1)),
          ((1, 1, 0), (1, 1, 0))]

LABELS = ["A", "B", "C", "PX", "PY", "PZ", "PXPY", "PXPZ", "PYPZ", "DK", "DJK", "DJ", "dK", "dJ",
          "PZ3", "PX3", "PY3", "PZ2PX", "PZ2PY", "PX2PZ", "PY2PZ", "PZ5", "ORI"]
DEGREE = 57.29577951322445


def input_text(states, edits):
    """edits: by the comment of a line of values, that line; the first comment that begins so."""
    text = input_file({
        "comment": COMMENT, "base": "input", "asn": "lines.asn", "states": states,
        "origin": ORIGIN, "fit_stat": 1, "red_stat": 1, "max_j": 1, "delta_k": 2, "cutoff": 0.01,
        "tm_method": 1, "moment": MOMENT, "temp": 0.0,
    })
    for comment, line in edits.items():
        start = text.index("\n", text.index("# " + comment)) + 1
        text = text[:start] + line + text[text.index("\n", start) + 1:]
    return text


def reals(*values):
    return columns(["%-18f"] * (len(values) - 1) + ["%f"], values)


def temperatures(temp, unit):
    return columns(["%-18.6f"] * 3 + ["%s"], (*temp, unit))


def energy(constants, coefficients):
    return sum(k * constants[n] for k, n in zip(coefficients, "ABC"))


def position(states, upper, lower):
    return ORIGIN + energy(states[1], dict(LEVELS)[upper]) - energy(states[0], dict(LEVELS)[lower])


def band(upper, lower):
    """0 a, 1 b, 2 c, or None for a forbidden pair, from the parities of Ka and Kc."""
    odd = ((upper[1] - lower[1]) % 2, (upper[2] - lower[2]) % 2)
    return {(0, 1): 0, (1, 1): 1, (1, 0): 2}.get(odd)


def all_lines(observed, rejected=(), kinds=(0, 1, 2)):
    """Type, upper, lower, strength, position, observed, uncertainty, lower index, derivatives."""
    lines = []
    for i, (lower, low) in enumerate(LEVELS):
        for upper, up in LEVELS:
            kind = band(upper, lower)
            if kind not in kinds or upper[0] == lower[0] == 0:
                continue
            letter = "R" if (upper, lower) in rejected else "ABC"[kind]
            strength = (1.5 if upper[0] == lower[0] else 1.0) * MOMENT[kind] / 100.0
            obs, unc = observed.get((upper, lower), (0.0, 0.0))
            derivatives = [-float(k) for k in low] + list(up)  # 0 gives -0
            lines.append((letter, upper, lower, strength, position(TRUE, upper, lower), obs, unc,
                          i, derivatives))
    return sorted(lines, key=lambda line: -line[4])


def moment_angles():
    """Squared magnitude, THE and CHI in degrees of the moment."""
    u = [math.sqrt(p / 100.0) for p in MOMENT]
    return (1.0, math.acos(u[0]) * DEGREE, math.atan2(u[2], u[1]) * DEGREE)


def text_list(lines, with_energies=True):
    text = "BT J'Ka'Kc'  J\"Ka\"Kc\" "
    text += "Sij*Mu**2" if with_energies else "    ITN  "
    text += "       OBL        CALC         OmC"
    text += "     GND ERG (CM-1)\n" if with_energies else "\n"
    for kind, upper, lower, strength, calc, obs, _, i, _ in reversed(lines):
        text += "%s %2d %2d %2d %3d %2d %2d " % (kind, *upper, *lower)
        text += "%8.4f %11.4f %11.4f" % (strength, obs, calc)
        text += " %11.4f" % (obs - calc) if obs else " " * 12
        text += " %11.4f" % (energy(TRUE[0], LEVELS[i][1]) / 29979.2458) if with_energies else ""
        text += "\n"
    return text


def binary(lines, states=TRUE, read=None, temp=(0.0, 0.0, 0.0), fit=None):
    """fit: deviation and variance of A, deviation of the lines. read: assigned lines, all unless
    given."""
    head = bytearray(13310)
    assigned = sum(line[5] != 0.0 for line in lines)
    read = read or assigned

    def put(offset, form, *values):
        struct.pack_into("<" + form, head, offset, *values)

    put(0, "8s", b"QZS v1.6")
    for state in (0, 1):
        put(1316 + 200 * state, "3i", 1, 1, 1)
        for label, value in states[state].items():
            put(3658 + 400 * state + 8 * LABELS.index(label), "d", value)
        put(4458 + 400 * state, "d", fit["sd"] if fit else 0.0)
    put(1604, "i", 1)
    put(4234, "d", ORIGIN)
    put(3008, "3d", *moment_angles())
    put(3032, "3d", *temp)
    put(3056, "d", 20836.7381265)
    put(3154, "i", 22)
    for slot, label in enumerate(LABELS):
        put(3158 + 10 * slot, "5s", b"%-5s" % label.encode())
    put(5258, "f", fit["omc"] if fit else 0.0)
    put(5262, "4i", len(lines), read, assigned, read - assigned)
    put(5278, "3i", read, 1, 1)  # first set; derivatives, energies present
    put(5294, "i", 6)
    put(5298, "2i", *((2, 4) if fit else (0, 0)))
    put(5306, "i", 4)
    put(5366, "8s", b"KIV v5.6")

    body = b"".join(struct.pack("<d", line[4]) for line in lines)
    body += b"".join(struct.pack("<d", line[5]) for line in lines)
    body += b"".join(struct.pack("<f", line[6]) for line in lines)
    body += b"".join(struct.pack("<f", line[3]) for line in lines)
    body += "".join(line[0] for line in lines).encode()
    body += b"".join(struct.pack("<6h", *line[1], *line[2]) for line in lines)
    body += b"".join(struct.pack("<6d", *line[8]) for line in lines)
    body += struct.pack("<4d", *(energy(TRUE[0], k) for _, k in LEVELS))
    body += b"".join(struct.pack("<i", line[7]) for line in lines)
    body += struct.pack("<4d", fit["covariance"], 0, 0, fit["covariance"]) if fit else b""
    return bytes(head) + body


def constants_table(states):
    def cell(label, value, last):
        number = "%.4e" % value if label in LABELS[9:14] else "%.6f" % value
        return "%-5s = %s" % (label, number if last else number.ljust(22))

    text = ""
    for state, title in enumerate(("GROUND  STATE :\n", "\nEXCITED STATE :\n")):
        text += title
        for slot, label in enumerate(LABELS[:22]):
            text += cell(label, states[state].get(label, 0.0), slot % 3 == 2)
            text += "\n" if slot % 3 == 2 or slot == 21 else ""
    return text + "\nORI   = %.6f\n" % ORIGIN


DOUBLE, SINGLE = "=" * 80 + "\n", "-" * 80 + "\n"


def banner(left, title, right):
    return DOUBLE + ">" * left + " " + title + " " + "<" * right + "\n" + DOUBLE


def three(form, values):
    return (form + "\n") % tuple(values)


ROW = "%-34.6f%-34.6f%.6f"
TRIPLE = "%s%-12f" + " " * 11 + "%s%-12f" + " " * 11 + "%s%f"


def input_log(states=TRUE):
    text = banner(16, "KIVANTA (kiv) PROGRAM VERSION v5.6", 16) + "\n"
    text += banner(24, "PHASE 0 - PARAMETER INPUT", 29)
    text += "\n" + COMMENT + "\n\n" + SINGLE
    text += " " * 29 + "HAMILTONIAN PARAMETERS\n" + constants_table(states) + SINGLE
    return text + "MAXIMUM J AND K CALCULATED = 1\n"


def transformed_log(states):
    return SINGLE + " " * 23 + "TRANSFORMED HAMILTONIAN PARAMETERS\n" + constants_table(states)


UNIFORM = "ASN UNCERTAINTIES IGNORED - PRM STD DEV BASED ON OMC\n"


def assignment_log(number):
    text = SINGLE + " " * 30 + "ASSIGNMENT INFORMATION\n" + SINGLE
    if number == 0:  # no file
        return text
    text += "ASSIGNMENT FILENAME              = lines.asn\n"
    text += "NUMBER OF ASSIGNMENTS READ       = %d\n" % number
    return text + "REJECTED ASN Ka:Kc > Ka:Kc MAX   = 0\n" + SINGLE + UNIFORM


def levels_log(state):
    text = ""
    for J in (0, 1):
        text += "\n\n" + SINGLE + "|Ka Kc|     ENERGY                   J = %2d\n" % J + SINGLE
        for (j, ka, kc), k in LEVELS:
            text += "|%2d%3d|%12.5f\n" % (ka, kc, energy(TRUE[state], k)) if j == J else ""
    return text


def energies_log(tensors, kind="REAL", listed=False):
    """tensors: of both states, rows x y z with x = b, y = c, z = a."""
    head = banner(20, "PHASE I - EIGEN ENERGIES AND VECTORS", 22)
    text = ""
    for state, (name, t) in enumerate(zip(("GROUND", "EXCITED"), tensors)):
        text += levels_log(state) if listed else ""
        text += head if state == 0 else ""
        text += SINGLE + " " * 17 + name + " STATE HAMILTONIAN PARAMETER MATRIX\n" + SINGLE
        text += "B(X)".ljust(34) + "C(Y)".ljust(34) + "A(Z)\n"
        text += "".join(three(ROW, row) for row in t) + "\n" + kind + " MATRIX ELEMENTS"
        text += " ONLY\n" if kind == "REAL" else "\n"
        b, c, a = (t[i][i] for i in range(3))
        text += "%s STATE KAPPA=%-18.6f INERTIAL DEFECT=%.6f\n" % (
            name, (2 * b - a - c) / (a - c), 505379.0765 * (1 / c - 1 / b - 1 / a))
    return text


def diagonal(states):
    return [[[s["B"], 0, 0], [0, s["C"], 0], [0, 0, s["A"]]] for s in states]


def moment_log():
    text = banner(19, "PHASE II - TRANSITIONS AND INTENSITIES", 21)
    text += " " * 14 + "TRANSITION MOMENT ORIENTATION AND BAND TYPE CHARACTER \n"
    text += "TM ORIENTATION WITH MU PROJECTIONS:\n"
    mag, theta, chi = moment_angles()
    part = [p / 100.0 for p in MOMENT]
    text += three(TRIPLE, ("MAG  = ", mag, "THE  = ", theta, "CHI  = ", chi))
    text += three(TRIPLE, ("A MAG= ", part[0], "B MAG= ", part[1], "C MAG= ", part[2]))
    return text + projections(math.sqrt(p) for p in part)


def projections(prj):
    a, b, c = prj
    return three(TRIPLE, ("A PRJ= ", a, "B PRJ= ", b, "C PRJ= ", c))


def line_set_log(lines, temp=(0.0, 0.0, 0.0), missing=0):
    text = banner(28, "PHASE III - LINESET", 31) + "DELTA K ORDER      = 2  \n"
    text += "TEMPERATURES(K) T1 = %-10.3f T2 = %-10.3f WT = %-10.3f\n" % temp
    text += "INTENSITY CUT      = 0.010\n\nLINESET input.QZS\n"
    text += "NUMBER OF CALCULATED LINES        = %d\n" % len(lines)
    text += "NUMBER OF ASSIGNED LINES          = %d\n" % sum(line[5] != 0.0 for line in lines)
    return text + "NUMBER OF REJECTED LINES          = %d\n" % missing + DOUBLE


CONSOLE_VERSION = "VERSION NUMBER OF INPUT FILE [input.in] IS [v5.6]\n\n"
CONSOLE_INPUT = CONSOLE_VERSION + "KIV VERSION v5.6\n\nPHASE    0 - PARAMETER INPUT\n"
CONSOLE_PASS = """PHASE    I - GROUND STATE EIGEN ENERGIES AND VECTORS
PHASE    I - EXCITED STATE EIGEN ENERGIES AND VECTORS
PHASE   II - CALCULATION OF TRANSITIONS
"""
CONSOLE_FIT = "PHASE   IV - LINEAR LEAST SQUARES CALCULATION\n"
CONSOLE_END = "PHASE    X - PROGRAM TERMINATION\n"


def finished(given, written, observed, console, log, text, binary_file):
    """A run that ends well; `given` and `written` are its input files."""
    files = {"input.in": given, "expected/input.in": written, "expected/input.asc": text,
             "expected/input.log": log, "expected/outcome.txt": "status 0\npauses\n",
             "expected/console.txt": CONSOLE_INPUT + console +
             "PHASE  III - GENERATION OF LINESET\n" + CONSOLE_END}
    if observed:
        files["lines.asn"] = assignments(observed)
    return {**files, **binary_file}


def assignments(observed):
    text = ""
    for (upper, lower), (obs, unc) in observed.items():
        text += "%s %d %d %d  %d %d %d  %.4f %.4f\n" % (
            "ABC"[band(upper, lower) or 0], *upper, *lower, obs, unc)
    return text


def rigid_run():
    temp, lines = (0.0, 2.5, 0.25), all_lines(FORBIDDEN)
    given = input_text(TRUE, {"GROUND STATE <PXPY": constant_line((0.0, 0.5, 0.0)),
                              "TEMPERATURES": temperatures(temp, "MHz"),
                              "GND & EXC STATE EIGENVALUES": short_line((0, 1))})
    log = input_log(OFF) + transformed_log(OFF) + assignment_log(3)
    log += energies_log(diagonal(TRUE), listed=True) + moment_log() + line_set_log(lines, temp, 1)
    missing = "[0] ASSIGNED FRQ [99.000000] REJECTED - SIMULATED LINE MISSING\n"
    return finished(given, given, FORBIDDEN, UNIFORM + CONSOLE_PASS + missing, log,
                    text_list(lines), {"expected/input.QZS": binary(lines, OFF, 3, temp)})


def parity(words):
    line = columns(["%-18s", "%-18s", "%s"], tuple(words))
    return input_text(TRUE, {"PARITY STAT": line})


def a_type_run():
    lines = all_lines({}, (), (0,))
    log = input_log() + transformed_log(TRUE) + assignment_log(0)
    log += energies_log(diagonal(TRUE)) + moment_log() + line_set_log(lines)
    return finished(parity("YEO"), parity("YEO"), None, CONSOLE_PASS, log, text_list(lines),
                    {"expected/input.QZS": binary(lines)})


START = [{**TRUE[0], "A": 8.5}, {**TRUE[1], "A": 8.25}]
LEVEL = 50.0  # of rejection
FIT_EDITS = {"LS FIT CYCS": columns(["%-18d", "%-18d", "%f"], (2, 1, LEVEL)),
             "GROUND STATE FIT": short_line((1, 0, 0)), "EXCITED STATE FIT": short_line((1, 0, 0))}


def fit_lines():
    """Misfits by line, in the order of the assignments: lower level first."""
    o, a, b, c = (level for level, _ in LEVELS)
    return {(a, o): 0.0, (b, o): 0.25, (c, o): -0.25, (o, a): 0.0, (o, b): 0.25, (o, c): -0.25,
            (b, a): -0.25, (c, a): 0.25, (a, b): -0.25, (c, b): 60.0, (a, c): 0.25, (b, c): -50.0}


def fit_run():
    misfits = fit_lines()
    observed = {line: (position(TRUE, *line) + r, 0.125) for line, r in misfits.items()}
    rejected = [line for line, r in misfits.items() if abs(r) >= LEVEL]
    kept = [line for line in misfits if line not in rejected]
    variance = sum(misfits[line] ** 2 for line in kept) / (len(kept) - 2)
    scale, sd = math.sqrt(variance), 0.5

    def omc(states):
        return math.sqrt(sum((observed[line][0] - position(states, *line)) ** 2 for line in kept)
                         / len(kept))

    def statistics(states):
        return ("OMC REJECTION LEVEL= %-20.4f           ASN LINES ACCEPTED = %d\n"
                "OMC STD DEV        = %-20.6f           ASN LINES REJECTED = %d\n" %
                (LEVEL, len(kept), omc(states), len(rejected)))

    def rejections(states):
        return "".join("%3d %3d %3d  %3d %3d %3d  %11.4f %10.4f - REJECTED\n" % (
            *line[0], *line[1], observed[line][0], observed[line][0] - position(states, *line))
            for line in rejected)

    log = input_log(START) + transformed_log(START) + assignment_log(12)
    log += banner(19, "PHASE IV - LINEAR LEAST SQUARES PHASE", 22)
    log += "[2] PARAMETERS TO BE VARIED\n\nGROUND STATE:\nA     \n\nEXCITED STATE:\nA     \n\n"
    log += "\n[5] PARAMETERS HELD FIXED\n\nGROUND STATE:\nB     C     \n\n"
    log += "EXCITED STATE:\nB     C     \n\nORI   \n\n" + DOUBLE
    log += " " * 30 + "INITIAL PARAMETERS\n" + constants_table(START)
    console = UNIFORM + CONSOLE_FIT
    for cycle, old in enumerate((START, TRUE), 1):
        console += CONSOLE_PASS + "UV LAST LEVEL # = 12\n" + rejections(old)
        log += SINGLE + " " * 29 + "EXACT ENERGY CYCLE # %d\n" % cycle
        log += energies_log(diagonal(old)) + moment_log() + rejections(old)
        log += SINGLE + " " * 29 + "INITIAL STATISTICS\n" + SINGLE + statistics(old)
        log += SINGLE + "REJECTION CYCLE 1 PARAMETERS"
        log += " - OLD, NEW, OLD-NEW, STD DEV, NORMALIZED STD DEV\n" + SINGLE
        for state, name in enumerate(("GROUND", "EXCITED")):
            a, b = old[state]["A"], TRUE[state]["A"]
            log += "%s STATE:\nA     = %-21.6f\n      = %-21.6f\n" % (name, a, b)
            log += "      = %-21.6e\n" * 3 % (a - b, sd, scale * sd) + "\n"
        log += SINGLE + statistics(TRUE)
        log += "NORM STD DEV       = %-20.6f           UNIFORM UNCERTAINTY USED   \n" % scale
        log += SINGLE + "CYCLE EXIT - NO REJECTED LINES BASED ON NEW PARAMETERS AND OLD DERIVATIVES"
        log += "\n" + SINGLE
    log += " " * 32 + "FINAL PARAMETERS\n" + constants_table(TRUE)
    log += "\n" + statistics(TRUE) + SINGLE
    covariance = variance * sd ** 2
    log += "COVARIANCE MATRIX:\n    %-10.1e%-10.1e\n    %-10.1e%-10.1e\n" % (
        covariance, 0.0, 0.0, covariance)
    lines = all_lines(observed, rejected)
    log += energies_log(diagonal(TRUE)) + moment_log() + line_set_log(lines)
    fit = {"sd": scale * sd, "covariance": covariance, "omc": omc(TRUE)}
    return finished(input_text(START, FIT_EDITS), input_text(TRUE, FIT_EDITS), observed,
                    console + CONSOLE_PASS, log, text_list(lines),
                    {"expected/input.QZS": binary(lines, fit=fit)})


ANGLES = (35.0, 25.0, -50.0)  # PHI, THETA, CHI of the excited state
TEMP = (0.001, 0.002, 0.5)    # T1, T2, weight of T2: kT is 20.8 and 41.7


def axes(phi, theta, chi):
    """Rows x, y, z on columns X, Y, Z: turns by phi about Z, theta about y, chi about z."""
    def product(p, q):
        return [[sum(p[i][k] * q[k][j] for k in range(3)) for j in range(3)] for i in range(3)]

    def about_z(angle):
        c, s = math.cos(angle / DEGREE), math.sin(angle / DEGREE)
        return [[c, s, 0], [-s, c, 0], [0, 0, 1]]

    c, s = math.cos(theta / DEGREE), math.sin(theta / DEGREE)
    return product(product(about_z(chi), [[c, 0, -s], [0, 1, 0], [s, 0, c]]), about_z(phi))


def cross(u, v):
    return [u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]]


def tilted_lines(g, mu):
    """As all_lines, of the pairs whose intensity is above 0.01. Vectors are x, y, z = b, c, a."""
    columns = list(zip(*g))
    own = {0: None, 1: [0, 0, 1], 2: [1, 0, 0], 3: [0, 1, 0]}  # by level: its axis
    turned = {0: None, 1: columns[2], 2: columns[0], 3: columns[1]}
    lines = []
    for i, (lower, low) in enumerate(LEVELS):
        for k, (upper, _) in enumerate(LEVELS):
            if i == k == 0:
                continue
            n = cross(own[i], turned[k]) if i and k else own[i] or turned[k]
            parts = [m * x for m, x in zip(mu, n)]
            e = energy(TRUE[0], low)
            weight = (1.5 if i and k else 1.0) * (
                math.exp(-e / (TEMP[0] * 20836.7381265))
                + TEMP[2] * math.exp(-e / (TEMP[1] * 20836.7381265)))
            intensity = weight * sum(parts) ** 2
            observed = OBSERVED.get((upper, lower), (0.0, 0.0))
            if intensity <= 0.01 and not observed[0]:
                continue
            largest = max(range(3), key=lambda axis: abs(parts[axis]))
            lines.append(("BCA"[largest], upper, lower, intensity, position(TRUE, upper, lower),
                          *observed, i, None))
    return sorted(lines, key=lambda line: -line[4])


def tilted_run():
    g = axes(*ANGLES)
    own = [TRUE[1]["B"], TRUE[1]["C"], TRUE[1]["A"]]
    t = [[sum(g[i][k] * own[k] * g[j][k] for k in range(3)) for j in range(3)] for i in range(3)]
    moment = [math.sqrt(MOMENT[i] / 100.0) for i in (1, 2, 0)]  # in the frame of the excited state
    mu = [sum(x * m for x, m in zip(row, moment)) for row in g]
    lines = tilted_lines(g, mu)
    states = [TRUE[0], {**TRUE[1], "PXPY": t[0][1], "PXPZ": t[0][2], "PYPZ": t[1][2]}]
    log = input_log() + SINGLE
    log += " " * 13 + "EXCITED STATE EULER ANGLES [F TO g: HAM CCW(+) & CW(-)]\n"
    log += "PHI".ljust(34) + "THETA".ljust(34) + "CHI\n"
    log += "%-34.3f%-34.3f%.3f\n" % ANGLES + SINGLE
    log += " " * 17 + "EXCITED STATE DIRECTION COSINE MATRIX (g TO F)\n"
    log += "X".ljust(34) + "Y".ljust(34) + "Z\n" + "".join(three(ROW, row) for row in g)
    log += transformed_log(states) + assignment_log(2)
    log += energies_log([diagonal(TRUE)[0], t], "REAL AND IMAGINARY") + moment_log()
    log += "\nTM WITH EXCITED STATE AXIS ROTATION:\n"
    log += three(TRIPLE, ("PHI  = ", ANGLES[0], "THE  = ", ANGLES[1], "CHI  = ", ANGLES[2]))
    log += projections((mu[2], mu[0], mu[1])) + line_set_log(lines, TEMP)
    given = input_text(TRUE, {"EXCITED STATE PHI": reals(*ANGLES),
                              "TRANSITION MOMENT METHOD": short_line((1, 1)),
                              "TEMPERATURES": temperatures(TEMP, "MHz")})
    size = 13310 + (8 + 8 + 4 + 4 + 1 + 12 + 48) * len(lines)
    return finished(given, given, OBSERVED, UNIFORM + CONSOLE_PASS, log, text_list(lines, False),
                    {"expected/input.QZS.size": "%d\n" % size})


EARLIER = {"input.asc": "an earlier line list\n", "input.QZS": "an earlier line set\n"}


def wrong_parity(words, message):
    return {
        **EARLIER,
        "input.in": parity(words),
        "expected/input.log": input_log() + message + DOUBLE,
        "expected/console.txt": CONSOLE_INPUT + CONSOLE_END,
        "expected/outcome.txt": "status 0\npauses 3\n",
    }


def too_few_lines():
    observed = dict(list(OBSERVED.items())[:1])
    message = "NUMBER OF ASSIGNED LINES [1] MUST BE >= NUMBER OF PARAMETERS TO FIT [2]!\n"
    return {
        **EARLIER,
        "input.in": input_text(START, FIT_EDITS),
        "lines.asn": assignments(observed),
        "expected/input.log": input_log(START) + transformed_log(START) + assignment_log(1)
        + banner(19, "PHASE IV - LINEAR LEAST SQUARES PHASE", 22) + message + DOUBLE,
        "expected/console.txt": CONSOLE_INPUT + UNIFORM + CONSOLE_FIT + message + CONSOLE_END,
        "expected/outcome.txt": "status 0\npauses 3\n",
    }


def unusable(text, message, outcome="status 1\npauses 5\n"):
    if outcome.startswith("status 1"):
        message += "ERROR ON INPUT FILE [input.in]!\n"
    return {**EARLIER, "input.in": text, "expected/console.txt": message,
            "expected/outcome.txt": outcome}


def all_cases():
    good = input_text(TRUE, {})
    return {
        "rigid_J1": rigid_run(),
        "a_type_J1": a_type_run(),
        "fit_J1": fit_run(),
        "tilted_J1": tilted_run(),
        "wrong_parity": wrong_parity(
            "yEO", "PARITY SELECTION STATUS 'y' INCORRECT -> Y OR N ONLY !\n"),
        "wrong_ka": wrong_parity("YeO", "IMPROPER OVERALL KA PARITY 'e' !\n"),
        "wrong_kc": wrong_parity(("Y", "E", "EO"), "IMPROPER OVERALL KC PARITY 'EO' !\n"),
        "too_few_lines": too_few_lines(),
        "unknown_unit": unusable(
            good.replace(" MHz\n", " cm-1\n"),
            CONSOLE_VERSION + "\nUNDEFINED TEMPERATURE CONVERSION UNIT [cm-1]!\n"),
        "wrong_version": unusable(
            good.replace(" v5.6 ", " 56 "),
            "KIV INPUT FILE [input.in] HAS INCORRECT VERSION NUMBER!\n"),
        "no_number": unusable(good.replace("  9.0000000000e+00", "  nine"), CONSOLE_VERSION),
        "ends_early": unusable(
            good[:good.index("# DEBUG")] + "0 0\n",
            CONSOLE_VERSION + "INPUT FILE HAS INCORRECT FORMAT - LAST LINE = 0 0 \n",
            "status 0\npauses 10\n"),
    }


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "tests", "runs")
    for case, files in all_cases().items():
        os.makedirs(os.path.join(root, case, "expected"), exist_ok=True)
        for name, content in files.items():
            with open(os.path.join(root, case, name), "wb") as out:
                out.write(content if isinstance(content, bytes) else content.encode("ascii"))


if __name__ == "__main__":
    main()
