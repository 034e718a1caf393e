#!/usr/bin/env python3
"""Writes into the pages of the documentation what the program prints.

    tools/fill_pages.py PROGRAM [PAGE...]

Every command line "$ ..." of a block ```sh is executed in a fresh folder with a copy of examples/,
and what stands below it becomes what it printed on both of its streams. A block behind
"<!-- file: NAME -->" is written to that file. tests/examples/Tutorial_test.cpp checks the result.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PAGES = ["README.md", "docs/tutorial.md", "docs/input.md", "docs/commands.md", "docs/exchange.md",
         "examples/so2/README.md", "examples/h2coh_plus/README.md"]
RUN = "mkdir -p results/so2\nexec kiv run examples/so2/fit.toml --out results/so2/fit\n"


def output(command, folder, program):
    path = os.path.dirname(os.path.abspath(program)) + ":" + os.environ["PATH"]
    done = subprocess.run(command, shell=True, cwd=folder, env=dict(os.environ, LC_ALL="C", PATH=path),
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.stdout.split("\n")[:-1]


def filled(text, folder, program):
    lines, rows, name = [], iter(text.split("\n")), None
    for row in rows:
        lines.append(row)
        mark = re.fullmatch("<!-- file: (.*) -->", row)
        if mark:
            name = mark.group(1)
        elif row.startswith("```"):
            block = list(iter(lambda: next(rows), "```"))
            if name:
                with open(os.path.join(folder, name), "w") as file:
                    file.write("\n".join(block) + "\n")
            elif row == "```sh":
                commands = [line for line in block if line.startswith("$ ")]
                block = [line for c in commands for line in [c] + output(c[2:], folder, program)]
            lines += block + ["```"]
            name = None
    return "\n".join(lines)


def main(program, pages):
    for page in pages:
        folder = tempfile.mkdtemp()
        shutil.copytree(os.path.join(ROOT, "examples"), os.path.join(folder, "examples"))
        os.mkdir(os.path.join(folder, "scripts"))
        run = os.path.join(folder, "scripts", "run")
        with open(run, "w") as file:
            file.write(RUN)
        os.chmod(run, 0o755)
        with open(os.path.join(ROOT, page)) as file:
            text = file.read()
        with open(os.path.join(ROOT, page), "w") as file:
            file.write(filled(text, folder, program))
        shutil.rmtree(folder)


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2:] or PAGES)
