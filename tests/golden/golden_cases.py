"""The inputs under tests/golden, and which runs of the program make the expected outputs beside them.

An input NAME.csv has beside it NAME.json, NAME.table.txt and NAME.findings.txt. The tests compare,
`approve` rewrites; both learn from here what there is.
"""

import pathlib

ROOT = pathlib.Path(__file__).resolve().parent

# Folder of inputs -> the command that reads them. A new kind is one line here.
COMMANDS = {
    "nvidia_smi": ["parse", "gpus"],
    "nvidia_smi/handmade": ["parse", "gpus"],
}

# What an expected output's name ends with -> the options that make it, and where it comes out.
FORMS = {
    ".json": (["--pretty"], "stdout"),
    ".table.txt": (["--table"], "stdout"),
    ".findings.txt": (["--findings"], "stderr"),
}


def cases():
    """Yields (input, expected output, arguments, stream) for every expected output."""
    for folder, command in COMMANDS.items():
        for source in sorted((ROOT / folder).glob("*.csv")):
            for ending, (options, stream) in FORMS.items():
                yield source, source.with_suffix(ending), command + options + [str(source)], stream
