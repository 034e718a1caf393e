"""The cases of scripts/compare-runs: input files of every kind, most of them lines of a table.

A compact input file is made from RECORDS with the changes of one line, "key=value; key+=words", and
its case is named after it. Lines stand one behind another, separated by "|"; one without a key has
the first key of the line before it, and "plain" changes nothing.

    shipped, examples, oldest   shipped input files: as they are, varied, of the first version
    settings-..., constants     every record and every constant, in runs of several kinds
    fit, tilt, scan, debug-...  what only some runs do
    wild, not-numbers           1e308, infinities and NaN
    asn, cut, word, input, names, usage    assignment files, broken input files, odd names
    disk, way, memory           full disks, things in the place of results, sizes beyond memory
    mended-...                  what a fault of earlier versions spoiled, which was put right
"""

import itertools
import math
import re
from dataclasses import dataclass, field

FOLDER = object()  # in place of a file's content


class Link(str):
    """In place of a file's content: a symbolic link to this name."""


@dataclass
class Case:
    name: str
    files: dict  # name: content
    argv: tuple = ("run.in",)
    answers: str = ""  # standard input
    limits: dict = field(default_factory=dict)  # RLIMIT_...: bytes
    steady: bool = True  # else compilers differ in what is in the files: the signs of NaN


# ---- Input files ---------------------------------------------------------------------------------

GROUPS = (("A", "B", "C"), ("PZ", "PX", "PY"), ("PXPY", "PXPZ", "PYPZ"), ("DJ", "DJK", "DK"),
          ("dJ", "dK"), ("PZ3", "PX3", "PY3"), ("PZ2PX", "PZ2PY"), ("PX2PZ", "PY2PZ", "PZ5"))

# In the order of the file. A state has words NAME=VALUE[:STATUS][*], with a star when the constant
# is varied, and @PHI,THETA,CHI; the last word for a name counts. "asn" is a key of ASSIGNMENTS.
RECORDS = {
    "version": "v5.6", "comment": "title", "names": "run run.asn next.in",
    "gnd": "A=9000 B=5000 C=3000 DJ=0.01 DJK=0.02 DK=0.05 dJ=0.003 dK=0.004",
    "exc": "A=8800 B=4900 C=3100 DJ=0.02 DJK=0.01 DK=0.04 dJ=0.002 dK=0.005",
    "origin": "100000", "origin_fit": "0", "fit": "1 1", "range": "6 2 0.0", "spins": "1 1 1 1",
    "method": "1 0", "moment": "20 30 50", "temps": "10 0 0 MHz", "cycles": "0 1 500",
    "limits": "-1 -1", "energies": "0 -1", "vectors": "0 -1", "parity": "N E O",
    "old": "0 1 1 599.504", "debug": "0 0 0 0 0 0", "asn": "band",
}


def vary(records, line):
    """`records` with the changes of `line`; "+=" adds words, "both+=" to both states."""
    records = dict(records)
    for item in filter(None, map(str.strip, line.replace("plain", "").split(";"))):
        key, value = item.split("=", 1)
        for name in ("gnd", "exc") if key == "both+" else (key.rstrip("+"),):
            assert name in RECORDS, item
            records[name] = f"{records[name]} {value}" if key.endswith("+") else value
    return records


def block(words):
    """The records of one state."""
    angles, constants = "0 0 0", {}
    for word in words.split():
        if word.startswith("@"):
            angles = word[1:].replace(",", " ")
        else:
            name, value, status, star = re.fullmatch(r"(\w+)=([^:*]+)(:-?\d+)?(\*?)", word).groups()
            constants[name] = ((status or ":1")[1:], value, "1" if star else "0")
    lines = []
    for names in GROUPS:
        status, values, fitted = (" ".join(column) for column in zip(
            *(constants.get(name, ("0", "0", "0")) for name in names)))
        lines += [values, angles, fitted] if names[0] == "A" else [status, values, fitted]
    return "\n".join(lines)


def input_text(records):
    values = {**records, "gnd": block(records["gnd"]), "exc": block(records["exc"])}
    lines = [value for key, value in values.items() if key not in ("version", "asn")]
    return "\n".join(["#", "# KIV INPUT FILE : VERSION " + values["version"], *lines, ""])


PLAIN = input_text(RECORDS)


def edited(text, line):
    """A shipped input file with other values: "words of the comment above them= values; ..."."""
    for item in line.split(";"):
        key, values = item.strip().split("=", 1)
        text, count = re.subn(rf"(#[^\n]*{re.escape(key)}[^\n]*\n)[^\n]*",
                              lambda match, values=values: match[1] + values, text, count=1)
        assert count == 1, item
    return text


# ---- Assignment files ----------------------------------------------------------------------------

def levels(a, b, c):
    """Energies of a rigid rotor up to J = 2, by (J, Ka, Kc)."""
    mean, root = 2 * (a + b + c), 2 * math.sqrt((b - c) ** 2 + (a - c) * (a - b))
    return {(0, 0, 0): 0, (1, 0, 1): b + c, (1, 1, 1): a + c, (1, 1, 0): a + b,
            (2, 0, 2): mean - root, (2, 1, 2): a + b + 4 * c, (2, 1, 1): a + 4 * b + c,
            (2, 2, 1): 4 * a + b + c, (2, 2, 0): mean + root}


LOWER, UPPER = levels(9000, 5000, 3000), levels(8800, 4900, 3100)


def measured(upper, origin, uncertainties=("0.1",), step=1):
    """Every step-th allowed line from the lower state, with small misfits, two of them large."""
    rows = []
    for (u, up), (l, low) in itertools.product(upper.items(), LOWER.items()):
        odd = ((u[1] - l[1]) % 2, (u[2] - l[2]) % 2)
        if abs(u[0] - l[0]) > 1 or u[0] == l[0] == 0 or odd == (0, 0) or origin + up < low:
            continue
        n = len(rows)
        position = origin + up - low + (40 if n in (5, 17) else (7 * n % 11 - 5) * 0.02)
        rows.append("%s %d %d %d %d %d %d %.4f %s\n" % (
            {(0, 1): "A", (1, 1): "B"}.get(odd, "C"), *u, *l, position,
            uncertainties[n % len(uncertainties)]))
    return "".join(rows[::step])


BAND, ROTATION = measured(UPPER, 100000), measured(LOWER, 0)
ONE = "A 1 0 1 0 0 0 108000 0.1\n"
START = ONE + "A 1 1 1 0 0 0 112000 "

ASSIGNMENTS = {
    "none": None, "band": BAND, "rotation": ROTATION, "two": BAND + "//\n" + ROTATION,
    "given": measured(UPPER, 100000, ("0.3", "0.05")),
    "without": measured(UPPER, 100000, ("",)), "some-without": measured(UPPER, 100000, ("", "0.2")),
    "two-without": measured(UPPER, 100000, ("",)) + "//\n" + measured(LOWER, 0, ("0",)),
    "few": measured(UPPER, 100000, step=12), "apart": ONE + "A 2 2 0 2 2 1 100000 0.1\n",
    "far": re.sub(r" (\d+)\.", r" 9\1.", BAND), "low": re.sub(r" 1(\d{5})\.", r" \1.", BAND),
}

ROWS = {
    "malformed": "A\nA 1 0 1\nA 1 0 1 0 0 0\nA 1 0 1 0 0 0 x\nA 1 0 1.5 0 0 0 10 .1\n" + ONE,
    "malformed-only": "A\nB 1 1\n", "malformed-second": BAND + "//\nA 1\n" + ROTATION,
    "malformed-first": "A 1\n" + BAND + "//\n" + ROTATION, "bad-second": BAND + "//\nA 1\n",
    "decimal-comma": START + ".1\nA 1 1 0 0 0 0 114000,5 .1\nA 0 0 0 1 1 1 88000 0,5\n",
    "d-exponent": START + ".1\nA 1 1 0 0 0 0 1.14D5 0.1\nA 0 0 0 1 1 1 88000 1D-1\n",
    "numbers": START + "0x1p-3\nA 1 1 0 0 0 0 1e999 .1\nA 0 0 0 1 1 1 88000 1e-400\n",
    "not-finite": START + "nan\nA 1 1 0 0 0 0 inf .1\nA 0 0 0 1 1 1 nan inf\n",
    "overflow": START + ".1\nA 99999999999 0 1 0 0 0 1 .1\nA 2147483648 0 1 0 0 0 10 .1\n",
    "beyond": START + ".1\nA 9 0 9 8 0 8 1 1\nA -1 0 0 0 0 0 1 1\nA 1 -1 1 0 0 0 1 1\n"
              "A 1 0 2 0 0 0 1 1\nA 2147483647 0 2 0 0 0 1 1\n",
    "beyond-only": "A 9 0 9 8 0 8 1 1\n",
    "forbidden": START + ".1\nA 2 0 0 0 0 0 5 .1\nA 0 0 0 0 0 0 5 .1\nA 1 2 2 0 0 0 114000 .1\n",
    "remarks": BAND.replace(" 0.1\n", " blended 0.1\n", 5).replace(" 0.1\n", " 0.1 good one\n", 5),
    "hexadecimal": START + "0xylene\nA 1 1 0 0 0 0 114000 0x\nA 0 0 0 1 1 1 88000 .1x\n",
    "crlf": (BAND + "//\n" + ROTATION).replace("\n", "\r\n"), "mark": "\ufeff" + BAND,
    "blank-lines": "\n \t\n" + BAND.replace("\n", "\n\n \n"), "empty": "", "blank": "\n\n",
    "separators-only": "//\n//\n", "separator-first": "//\n" + BAND,
    "separator-last": BAND + "//\n",
    "separators-double": BAND + "//\n//\n" + ROTATION, "separator-glued": BAND + "//x\n" + ROTATION,
    "separator-words": BAND + "// rotation\n" + ROTATION,
    "three-sets": BAND + "//\n" + ROTATION + "//\n" + ONE, "unended": BAND[:-1],
    "duplicates": BAND + BAND.replace(" 0.1\n", " 0.2\n"),
    "unsorted": "".join(sorted(BAND.splitlines(True), key=lambda row: row[::-1])),
    "zero": BAND.replace(" 0.1\n", " 0\n"), "negative": BAND.replace(" 0.1\n", " -0.1\n"),
    "nul": START + ".1\nA\0 1 1 0 0 0 0 114000 .1\nA 0 0 0 1 1 1 88000\0 .1\n",
    "long-lines": START + ".1 " + "x " * 400 + "\n" + " " * 700 + "A 1 1 0 0 0 0 114000 0.1\n",
    "long-edge": "".join(row.ljust(495 + n, ".") + "\n" for n, row in enumerate(BAND.split("\n"))),
    "bytes": "\u00c5 1 0 1 0 0 0 108000 0.1 \u00b1\n" + START + ".1\n",
}
REMARKS = ("inferred", "nanotube", "infra", "1d", "3e", "2D?", "4Exp", "-infested", "1.5e")

# ---- Tables --------------------------------------------------------------------------------------

VARIED = "gnd+=A=9002* B=5001*; exc+=A=8801*; origin_fit=1; range=3 2 0.0; cycles="
KINDS = {"real": "", "complex": "both+=PXPY=40", "ground": "fit=0 1; origin=0; asn=rotation",
         "fit": VARIED + "2 1 500"}

SETTINGS = """plain| origin=0| -20000| 1e7| origin_fit=-1
temps=0 0 0 MHz; range=6 2 -0.5| -5 0 0 MHz| 10 20 0.5 MHz| 10 20 -0.5 MHz| 10 -3 0.5 MHz
temps=0 5 1 MHz| 1e6 0 0 MHz| .001 0 0 MHz| 10 0 0 CM-1| 3e4 0 0 CM-1| 10 0 0 mhz
temps=10 0 0 MHzMHzMHzMHzMHzMHzMHzMHzMHzMHz
range=0 2 0.0| 1 2 0.0| 12 2 0.0| 20 1 0.01| 35 2 0.01| 34 90 0.0| 6 2 0.5| 6 2 1e9
range=6 -1 0.0| 6 0 0.0| 6 1 0.0| 6 3 0.0| 6 999 0.0| 6 2147483647 0| 6 -2147483648 0| 6 2 0.01cut
spins=0 1 0 1| 7 5 7 5| -1 2 0 5| 0 0 0 0| 2 2 2 2
method=0 0; moment=2.5 90 0| 0 0; moment=2.5 0 0| 0 0; moment=0 0 0| 0 0; moment=1 54.7 405
method=0 1; moment=-4 35 -70| 1 1| 2 0| -1 1| 1 2| 1 -1
moment=100 0 0| 0 100 0| 0 0 100; temps=0 0 0 MHz| -20 30 -50| 0 0 0| 100 100 100| 1e-9 50 50
moment=-100 0 0; spins=3 1 3 1
parity=Y E O| Y O O| Y O E| Y E E| y E O| Y e O| Y E EO| N X Y
limits=-2 -2| -2 -1| 0 0| 1 2| -1 2| 3 99
energies=0 6| 2 4; vectors=1 2| -1 1| 5 99; vectors=4 3| 0 6; vectors=0 6; range=9 2 0.0
vectors=0 6| old=1 1 1 599.504| 1 0.5 2 599.504| 1 0 1 0| 2 10 0.001 599| 0 0.001 7 1e9
asn=none| two| far| without; cycles=0 0 500
fit=1 0| 2 1| 3 1| 4 1| -1 1
version=v5.5| v5.3| v5.1; fit=0 1| v5.0; limits=; fit=0 1| v4.9; limits="""

CONSTANTS = """both+=A=5000 B=5000 C=5000| B=3000| A=5000| A=4000| C=6000| DJ=10 DK=-20
both+=A=0| B=0 C=0| A=0 B=0 C=0 DJ=0 DJK=0 DK=0 dJ=0 dK=0| C=-100| gnd+=A=-9000| exc+=B=-5000
both+=PX=50 PZ=60 PXPZ=20| PX=50 PY=40 PZ=60 PXPY=30 PXPZ=20 PYPZ=25| PX=50:0 PXPY=30:0
gnd+=PX=50; exc+=PZ=60| PX=50:2 PY=40:-1| PX=0; exc+=PY=0
both+=PY3=.2 PY2PZ=.15| PY3=.2 PY2PZ=.15 PY=40| exc+=DJ=0:0 DK=0:0
both+=PZ3=.5 PX3=.3 PZ2PX=.4 PX2PZ=.25 PZ5=.01; range=12 2 0.0
both+=PZ3=.5 PX3=.3 PY3=.2 PZ2PX=.4 PZ2PY=.35 PX2PZ=.25 PY2PZ=.15 PZ5=.01; range=9 2 0.0
fit=1 0| 1 2| 1 3| 1 7| 1 0; both+=PXPY=30| 1 2; both+=PXPY=30| 1 3; exc+=PX=50
origin=0; fit=0 0| 0; fit=0 2| 0; fit=0 3| 0; fit=0 1; gnd+=PX=50| 0; fit=0 1; exc+=PX=50
origin=0; fit=0 1; gnd+=PYPZ=25"""

TERMS = ("PX=50", "PY=40", "PZ=60", "PXPY=30", "PXPZ=20", "PYPZ=25", "DJ=.02", "DJK=.03", "DK=.06",
         "dJ=.004", "dK=.005", "PZ3=.5", "PX3=.3", "PY3=.2", "PZ2PX=.4", "PZ2PY=.35", "PX2PZ=.25",
         "PY2PZ=.15", "PZ5=.01")
EACH_TERM = "both+={0}; range=4 2 0| gnd+={0}; exc+={0}:0; range=4 2 0| gnd+={0}:2; exc+={0}:-1"
FIT_EACH_TERM = """both+={0}*; cycles=1 1 500| {0}*; fit=2 1; cycles=1 1 5000
both+={0}*; fit=0 1; origin=0; asn=rotation; cycles=1 0 500| exc+={0}*; both+=PY=5| exc+={0}:0*"""

FITS = """plain| asn=two| few| apart| none| far| low; cycles=1 1 1e9; fit=2 1
fit=0 1| 0 1; origin=0; asn=rotation| 0 1; origin=0; asn=two| 1 0| 5 1| -1 1
fit=2 1| 2 1; asn=two| 2 1; exc+=B=4901* C=3101*| 2 3; asn=two
cycles=2 0 500| 2 0 500; asn=given| 2 0 500; asn=without| 2 2 500| 1 1 500| 6 1 500
cycles=2 0 500; asn=some-without| 2 0 500; asn=two-without
cycles=3 1 30| 3 1 1.5| 3 1 0.08| 3 0 30; asn=two| 2 1 1e-9| 2 1 0| 2 1 -1| 2 1 1e300
cycles=4 1 5; gnd+=A=9100*
cycles=1 1 500; both+=A=9001* B=5001* C=3001*| 1 1 1e9; both+=A=9000* C=3000*; asn=low
both+=A=9001* B=5001* C=3001*; asn=two; fit=2 1; range=8 2 0.0
gnd+=A=9000 B=5000; exc+=A=8800; origin_fit=0| A=9000 B=5000; exc+=A=8800; origin=100050
cycles=1 1 500; asn=two; both+=A=9001* B=5001* C=3001* DJ=.01* DJK=.02*
cycles=1 1 1e9; both+=DJ=.01* DJK=.02* DK=.05* dJ=.003* dK=.004*
cycles=1 0 1e9; gnd+=DJ=.01* DJK=.02* DK=.05* dJ=.003* dK=.004*; fit=1 0; asn=given
gnd+=PX=5*; exc+=PZ=3*| PX=5:2*| C=0*| exc+=PY=5:-1*| exc+=B=-10*
both+=PX=0*| PX=5* PY=4* PZ=3*| PXPY=5* PXPZ=4* PYPZ=3*; cycles=1 1 5000| PY3=.2* PY2PZ=.15*
cycles=1 1 500; fit=2 1; both+=PZ3=.5* PX3=.3* PZ2PX=.4* PX2PZ=.25* PZ5=.01*
cycles=1 1 500; asn=two; both+=PX3=.3* PY3=.2* PZ2PY=.35* PY2PZ=.15*
spins=0 1 0 1| parity=Y E O| moment=100 0 0| temps=0 0 0 MHz; asn=two| energies=0 2; vectors=0 1
range=2 2 0.0| 1 2 0.0| 6 0 0.0| 6 2 1e9| limits=1 1| old=1 10 1 1
fit=3 1| 3 1; asn=two| 3 1; asn=apart| 3 1; asn=few| 3 1; asn=none| 3 1; both+=PX=5*
fit=3 1; cycles=2 1 30| 3 1; cycles=2 1 1e-9| 3 1; cycles=2 0 500; asn=given
fit=4 1| 4 1; asn=two| 4 1; asn=apart| 4 1; asn=few| 4 1; both+=PXPY=5*| 4 1; both+=A=9000* C=3000*
fit=4 1; cycles=3 0 30| 4 1; cycles=2 1 0.1"""

TILTS = ("@0,25,0", "@20,30,40", "@30,0,0", "@0,0,30", "@0,90,0", "@90,0,0", "@0,0,90", "@90,90,90",
         "@0,180,0", "@30,90,0", "@0,360,0", "@-20,-30,-40", "@0,1e-7,0")
EACH_TILT = """exc+={0}; range=4 2 0| exc+={0} B=4901*; range=3 2 0; cycles=3 1 500
gnd+={0}; method=1 1| {0}; fit=0 1; origin=0; asn=rotation| both+={0}; range=4 2 0"""
TILTED = """exc+=@0,25,0 PXPZ=10| both+=@20,30,40 PXPY=9 PXPZ=8 PYPZ=7| both+=@0,25,0 PXPZ=10:0
gnd+=@10,20,30; exc+=@40,50,60| @0,20,0; exc+=@0,-20,0; temps=0 0 0 MHz| @0,25,0 PX=5
exc+=@0,90,0; moment=100 0 0| @20,30,40; method=0 1; moment=2.5 90 0| both+=@0,90,0 PXPZ=10
exc+=@20,30,40; parity=Y E O| @0,25,0; energies=0 6; vectors=0 6| @20,30,40; range=20 2 0
exc+=@20,30,40; debug=1 1 0 0 0 0
cycles=2 1 500; gnd+=@0,25,0 A=9002*; asn=two| 2 1 500; both+=@0,25,0 PXPZ=10*
cycles=2 1 500; fit=0 1; origin=0; gnd+=@0,25,0 A=9002* B=5001*; asn=rotation
cycles=2 1 500; fit=2 1; both+=@20,30,40 A=9002* B=5001*| 4 1 500; both+=@0,90,0 A=9002* C=3001*
cycles=2 1 500; fit=3 1; gnd+=@0,25,0 A=9002*
cycles=2 1 500; fit=4 1; exc+=@20,30,40 A=8801*; debug=1 0 0 0 1 1"""

SCANNED = "cycles=-1 1 500; fit=0 1; origin=0; gnd+=A=9002*; asn=rotation; range=2 2 0.0"
SCANS = """plain| cycles=-3 1 500| -1 1 0.5| -1 0 500; asn=two| -32768 1 500; asn=none
asn=far| apart| debug=0 1 0 0 0 0| 1 0 0 0 0 0; asn=none
gnd+=PX=50*| PX=50 PY=40 PZ=60| PYPZ=25*| PXPY=30 PXPZ=20*| PXPY=30 PXPZ=20 PYPZ=25| @0,25,0
gnd+=A=0| B=0*| C=0*| C=-3000
fit=1 1; asn=two; origin=100000| 2 1; asn=band; origin=100000| 3 1; asn=band"""

DEBUGS = ("1 0 0 0 0 0", "0 1 0 0 0 0", "0 0 1 0 0 0", "0 0 0 1 0 0", "0 0 0 0 1 0", "0 0 0 0 0 1",
          "1 1 1 1 1 1", "2 -1 3 2 2 2")
DEBUGGED = """plain| energies=0 3; vectors=0 3| parity=y E O| asn=none; spins=0 1 0 1
both+=PXPY=40| gnd+=PX=50; exc+=PY=40 PZ3=.5; fit=1 0
cycles=2 1 500; gnd+=A=9002*| 2 1 500; gnd+=A=9002*; asn=two; both+=PY=40*
fit=3 1; cycles=2 1 30; gnd+=A=9002*| 4 1; cycles=1 1 500; exc+=A=8801*
origin=0; fit=0 1; asn=rotation| 0; fit=0 1; asn=rotation; cycles=2 1 500; gnd+=B=5001*"""

WILD = """exc+=C=1e-308| DJ=1e308| both+=PZ5=1e300| exc+=@1e308,0,0
origin=nan| inf| 1e308| range=4 2 inf| 4 2 0x1p-3| spins=2147483647 -2147483648 1 1
temps=nan 0 0 MHz| inf 0 0 MHz| 10 nan 1 MHz| 10 20 inf MHz| 1e-320 0 0 MHz
moment=nan 1 1| 1e308 1 1| method=0 0; moment=nan 1 1| 0 0; moment=1 inf 1
old=1 nan 1 1| 1 inf nan inf| energies=-2147483648 2147483647; vectors=2147483647 0
cycles=2 1 nan; gnd+=A=9002*| 2 1 inf; gnd+=A=9002*| 2 1 inf; origin=nan; origin_fit=1
cycles=2 1 500; gnd+=C=1e308*| 2 1 500; both+=DJ=1e300*| 2 1 500; origin=1e308; gnd+=A=9002*"""
NOT_NUMBERS = """gnd+=A=nan| A=inf| B=-inf| DK=nan| exc+=C=1e308| @nan,0,0| @0,inf,0
both+=A=1e308 B=1e308 C=1e308| PX=nan| PY=inf| PXPY=1e308
cycles=2 1 500; gnd+=A=nan*| 2 1 500; gnd+=A=inf*"""

BAD_WORDS = ("x", "1,5", "1.0D1", "99999999999", "1e999", "0x10", "--1", "+1", "1.5", "-nan", "#1",
             "1#note", "w" * 300, "w" * 600, "1\0")
VERSIONS = ("5.6", "v5", "v5.", "v6.0", "v2.5", "2.5", "v0.1", ".", "v5.6.1", "V5.6", "v1.0",
            "v-1.0", "v5.6-and-longer", "v5.6-and-long", "#")
INPUTS = {
    "crlf": PLAIN.replace("\n", "\r\n"), "mark": "\ufeff" + PLAIN, "tabs": PLAIN.replace(" ", "\t"),
    "no banner": PLAIN.split("\n", 2)[2], "one line": PLAIN.replace("\n", " "), "empty": "",
    "blank": "\n\n\n", "lines of words": PLAIN[:40] + PLAIN[40:].replace(" ", "\n"),
    "nul at the end": PLAIN + "\0", "nul in comment": PLAIN.replace("title", "a\0b"),
    "more behind": PLAIN + "1 2 3\n", "comments": PLAIN.replace("\n", "\n# 1 2 3\n"),
    "comment glued": PLAIN.replace("1 1 1 1", "1 1 1 1#x"), "binary": "\x7fELF\0\1\2" * 50,
    "long comment": PLAIN.replace("title", "t" * 900),
    "comment of 499": PLAIN.replace("title", "t" * 499),
    "comment of signs": PLAIN.replace("title", "title # rest \u00e9"),
    "long record": PLAIN.replace("1 1 1 1", "1 1 1 " + "0" * 500 + "1"),
}
NAMES = ("b" * 199 + " run.asn n", "b" * 200 + " run.asn n", "run " + "a" * 200 + " n",
         "sub/run run.asn n", "no/run run.asn n", "run ./sub/../run.asn n", "run%s%n run%d.asn %s",
         "./run run.asn n", ". run.asn n", ".. .. ..", "r\u00fcn run.asn n", "run run.in run.in")
ARGUMENTS = ((), ("",), ("--version",), ("./run.in",), ("missing.in",), ("folder",), ("n" * 300,),
             ("run.asn",), ("/dev/null",), ("link.in",))

HIGHEST_J = (5000, 20000, 32768, 46340, 46341, 100000, 2147483647, -1, -2147483648)
DISK_SIZES = (0, 1, 100, 500, 1000, 2000, 4000, 4096, 5000, 8192, 13309, 13310, 14000, 20000, 30000)
DISK_KINDS = {"calculation": "range=3 2 0.0", "fit": VARIED + "2 1 500", "scan": SCANNED,
              "debug": "range=2 2 0; debug=1 1 1 1 1 1"}

GROUND_ONLY = ("ground.in", "v3.1.in", "v5.3.in")  # with a large origin
EXAMPLES = {
    "so2/so2.in": (
        "MAX J= 20 6 0.0", "MAX J= 35 999 0.001", "MAX J= 105 1 0.0", "TEMPERATURES= 0 0 0 MHz",
        "TEMPERATURES= 100 200 0.5 MHz", "SPIN WTS= 1 0 1 0; MAX J= 25 2 0", "EIGENVALUES= 0 35",
        "GROUND STATE PHI= 0 30 0; MAX J= 20 2 0", "ASN Ka MAX= -2 -2", "METHOD= 0 0"),
    "so2/fit.in": (
        "LS FIT= 3 1 1e5", "LS FIT= 2 0 200", "LS FIT= 4 1 300", "FIT & A RED= 0 0",
        "FIT & A RED= 3 1", "MAX J= 12 2 0", "ASN Ka MAX= 3 10", "DEBUG= 0 1 0 0 0 1",
        "GROUND STATE PHI= 0 30 0; MAX J= 20 2 0"),
    "h2coh_plus/h2coh_plus.in": ("MAX J= 0 2 0", "FIT & A RED= 0 1", "TEMPERATURES= 0 0 0 CM-1"),
    "h2coh_plus/fit.in": (
        "LS FIT= 3 1 1e5", "LS FIT= 3 0 900", "LS FIT= -1 1 500; MAX J= 5 2 0"),
    "7-azaindole/7-azaindole.in": (
        "MAX J= 35 2 0.001", "EXCITED STATE PHI= 33 71 -12; MAX J= 15 2 0.01",
        "EXCITED STATE PHI= 0 8.5 0; METHOD= 1 1", "GROUND STATE PHI= 0 90 0"),
}


def lines_of(rows):
    """The lines of a table, each with its first key."""
    known, key = (*RECORDS, "both"), ""
    for line in map(str.strip, re.split(r"[|\n]", rows)):
        own = re.match(r"(\w+)\+?=", line)
        key = own[0] if own and own[1] in known else key
        yield line if line == "plain" or line.startswith(key) else key + line


def compact(name, line="", base="", files=None, **more):
    """A case of the compact input; earlier results are there, which a failed run must keep."""
    records = vary(vary(RECORDS, base), line)
    given = {"run.in": input_text(records), "run.QZS": "earlier\n", "run.asc": "earlier\n"}
    if ASSIGNMENTS[records["asn"]] is not None:
        given["run.asn"] = ASSIGNMENTS[records["asn"]]
    return Case(name, {**given, **(files or {})}, **more)


def table(group, lines, base="", **more):
    return [compact(f"{group}/{line}", line, base, **more) for line in lines_of(lines)]


# ---- Groups --------------------------------------------------------------------------------------

def shipped(root):
    def files_of(path):
        return {p.name: p.read_bytes() for p in path.parent.iterdir()
                if p.suffix in (".in", ".asn")}

    for path in sorted([*root.glob("examples/*/*.in"), *root.glob("tests/runs/*/*.in")]):
        name = f"{path.parent.name}/{path.name}"
        yield Case(f"shipped/{name}", files_of(path), (path.name,))
        for line in EXAMPLES.get(name, ()):
            files = {**files_of(path), path.name: edited(path.read_text(), line)}
            yield Case(f"examples/{name} {line}", files, (path.name,))
    for path in sorted(root.glob("tests/io/files/*.in")):
        whole = path.read_text()
        small = re.sub(r"\b41\b", "4", whole)  # highest J
        small = re.sub(r"^( *)Y\b", r"\1N", small, flags=re.MULTILINE)  # parity selection
        small = re.sub(r"\b13(\s+1[46]\s)", r"0\1", small)  # cycles
        fit = re.sub(r"\b0(\s+1[46]\s)", r"2\1", small).replace(" 2500", " 1")
        small = re.sub(r"\b18\b", "1", small)  # band label
        for name, text, rows in (("whole", whole, {}), ("small", small, {"lines.asn": ONE}),
                                 ("fit", fit, {"lines.asn": ROTATION})):
            group = "mended-origin" if name == "whole" and path.name in GROUND_ONLY else "shipped"
            yield Case(f"{group}/{path.name} {name}", {path.name: text, **rows}, (path.name,), "n")
        for n in range(1, 16):
            cut = {path.name: whole[:len(whole) * n // 16]}
            yield Case(f"cut/{path.name} {n}", cut, (path.name,), "y10\n")


def oldest(root):
    """Files of version 1 ask two questions and have their assignment file converted."""
    rows = {"none": {}, "lines": {"run.asn": "B/A 2 1 2 1 0 1 9000.5 .1\n//\n" + ONE},
            "beyond": {"run.asn": "A 9 0 9 8 0 8 1\n"}, "bad": {"run.asn": ROWS["malformed"]},
            "folder": {"run.asn": FOLDER}, "temp": {"run.asn": ONE, "TEMP.TMP": FOLDER},
            "empty": {"run.asn": ""}, "left": {"run.asn": ROWS["remarks"], "TEMP.TMP": "left\n"}}
    answers = ("", "n", "Y", "\ny10\n", "y", "y10\n", "y\n 100", "y0", "y-1", "yten", "ynan",
               "y1e999")
    for path in sorted(root.glob("tests/io/files/v1.*.in")):
        text = path.read_text()
        for old, new in (("base_name", "run"), ("lines.asn", "run.asn"), ("\n41\n", "\n3\n"),
                         ("\n13 16 ", "\n0 16 "), ("\nY\n", "\nN\n")):
            text = text.replace(old, new)
        for (name, files), answer in itertools.product(rows.items(), answers):
            files = {"run.in": text, **files}
            yield Case(f"oldest/{path.stem} {name} {answer!r}", files, answers=answer)
        for band in ("A", "B", "C", "B/A", "C/A", "A/B", "b", "#", "x" * 10):
            files = {"run.in": text.replace("C/B", band)}
            yield Case(f"oldest/{path.stem} band {band}", files, answers="n")


def variants():
    for kind, base in KINDS.items():
        yield from table(f"settings-{kind}", SETTINGS, base)
    yield from table("constants", CONSTANTS)
    yield from table("fit", FITS, KINDS["fit"])
    for term in TERMS:
        yield from table("constants", EACH_TERM.format(term))
        yield from table("fit", FIT_EACH_TERM.format(term), KINDS["fit"])
    for tilt in TILTS:
        yield from table("tilt", EACH_TILT.format(tilt))
    yield from table("tilt", TILTED)
    yield from table("scan", SCANS, SCANNED)
    for debug in DEBUGS:
        yield from table(f"debug-{debug}", DEBUGGED, f"range=3 2 0.0; debug={debug}")
    yield from table("wild", WILD, "range=4 2 0.0")
    yield from table("not-numbers", NOT_NUMBERS, "range=4 2 0.0", steady=False)


def assignments():
    kinds = {"calculation": "debug=0 1 0 0 0 0; range=4 2 0.0", "fit": VARIED + "1 1 500",
             "one": "gnd+=A=9002*; range=3 2 0.0; cycles=2 0 1e6"}
    for (name, rows), (kind, line) in itertools.product(ROWS.items(), kinds.items()):
        yield compact(f"asn/{name} {kind}", line, files={"run.asn": rows},
                      steady=name != "not-finite")
    yield compact("asn/is a folder", files={"run.asn": FOLDER})
    for word, (kind, line) in itertools.product(REMARKS, kinds.items()):
        files = {"run.asn": BAND.replace(" 0.1\n", f" {word}\n", 5)}
        yield compact(f"mended-remark/{word} {kind}", line, files=files)


def broken():
    words = PLAIN.split(" ")
    for n in range(0, len(words), 4):
        yield compact(f"cut/compact {n}", files={"run.in": " ".join(words[:n])})
    for bad in BAD_WORDS:
        told = f"{bad[:12]!r} {len(bad)}"
        for key, record in RECORDS.items():
            if key in ("version", "comment", "gnd", "exc", "asn"):
                continue
            values = record.split()
            yield compact(f"word/{key} first {told}", f"{key}={' '.join([bad, *values[1:]])}")
            # the last number of the range is the cut-off
            group = "mended-cutoff" if (key, bad) == ("range", "-nan") else "word"
            yield compact(f"{group}/{key} last {told}", f"{key}={' '.join([*values[:-1], bad])}")
        for word in "title\n", "9000 ", "0.01 ", "0 0 0\n":
            text = PLAIN.replace(word, bad + word[-1], 1)
            yield compact(f"word/{word[:-1]} {told}", files={"run.in": text}, steady=bad != "-nan")
    for version in VERSIONS:
        yield compact(f"word/version {version}", f"version={version}")
    for name, text in INPUTS.items():
        yield compact(f"input/{name}", files={"run.in": text})
    for names in NAMES:
        yield compact(f"names/{names[:12]} {len(names)}", f"names={names}", files={"sub": FOLDER})
    for argv in ARGUMENTS:
        yield compact(f"usage/{len(argv)} {' '.join(argv)[:20]}", argv=argv,
                      files={"folder": FOLDER, "link.in": Link("run.in")})


def faults(root):
    """Full disks, other things in the place of the results, and too little memory."""
    old = next(case for case in oldest(root) if case.name.startswith("oldest/v1.2 lines 'y10"))
    for size in DISK_SIZES:
        limits = {"FSIZE": size}
        for kind, line in DISK_KINDS.items():
            yield compact(f"disk/{kind} {size}", line, limits=limits)
        yield Case(f"disk/v1.2 {size}", old.files, answers=old.answers, limits=limits)
    things = {"a folder": FOLDER, "left": "left\n"}
    things |= {f"a link to {to}": Link(to) for to in (
        "kept", "missing", "no/where", "sub", "/dev/full", "/dev/null")}
    there = {"kept": "kept\n", "sub": FOLDER}
    for kind, line in DISK_KINDS.items():
        for name in ("run.QZS", "run.asc", "run.log", "Kiv95_Debug.log", "KivScan.txt", "run.in",
                     "run.QZS.tmp", "run.asc.tmp", "run.in.tmp"):
            for what, thing in things.items():
                files = {**there, "start.in": input_text(vary(RECORDS, line)), name: thing}
                yield compact(f"way/{kind} {name} is {what}", line, files=files, argv=("start.in",))
    for highest in HIGHEST_J:  # without addresses for large arrays, the same on every machine
        line = f"range={highest} 2 0.0; asn=none"
        yield compact(f"memory/{highest}", line, limits={"AS": 1 << 30})


def mended():
    for kind, base in KINDS.items():
        yield from table(f"mended-cutoff/{kind}", "range=4 2 -1| 4 2 -1e-9| 4 2 nan\n"
                         "range=4 2 -1; spins=0 1 0 1| 4 1 -1; parity=Y E O", base)
    yield from table("mended-origin", "origin=2e4| 1e6| 1e6; temps=0.001 10 1 MHz\n"
                     "cycles=1 1 2e6; gnd+=A=9002*; origin=1e6",
                     "fit=0 1; asn=rotation; temps=0.001 0 0 MHz")
    for debug, tilt in itertools.product((DEBUGS[2], DEBUGS[3], DEBUGS[6]), TILTS[:6]):
        lines = "exc+={0}| {0} PXPZ=10| {0} A=8801*; cycles=2 1 500| gnd+={0}"
        base = f"range=3 2 0.0; debug={debug}"
        yield from table(f"mended-listing/{debug}", lines.format(tilt), base)
    yield from table("mended-tail", "exc+=@0,0,45deg| @0,25,0e\nmoment=20 30 0.01Debye| 20 30 50d\n"
                     "range=6 2 0.01e| 6 2 1e| origin=1Einstein")


def all_cases(root):
    """Every case by its name, in which only letters, digits and a few signs stand."""
    cases = {}
    for case in itertools.chain(shipped(root), oldest(root), variants(), assignments(), broken(),
                                faults(root), mended()):
        group, name = case.name.split("/", 1)
        name = re.sub(r"[^\w.,;=+*:@%'#-]", "_", name, flags=re.ASCII)
        case.name = f"{group.replace(' ', '-')}/{name}"
        assert case.name not in cases, case.name
        cases[case.name] = case
    return list(cases.values())


def refused_cases(root):
    """Small runs of every kind, to be repeated with less and less memory."""
    lines = {"calculation": "", "complex": KINDS["complex"], "fit": VARIED + "2 1 500",
             "two sets": VARIED + "2 1 500; asn=two", "differences": VARIED + "2 1 500; fit=3 1",
             "ground": KINDS["ground"] + "; cycles=2 1 500; gnd+=A=9002*"}
    for name, line in lines.items():
        yield compact(f"refuse/{name}", line + "; range=2 2 0.0")
    yield next(case for case in oldest(root) if case.name.startswith("oldest/v1.2 lines 'y10"))
