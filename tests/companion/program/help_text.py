"""What --help says there is, so that other places can be held against it."""

import re

from testing import run

OPTION = re.compile(r"^  (?:-\w,)?(--[\w-]+)(\S*)", re.MULTILINE)
COMMAND = re.compile(r"^  ([\w-]+)  +\S", re.MULTILINE)


def help_of(*command):
    done = run(*command, "--help")
    assert done.returncode == 0, done.stderr
    return done.stdout.decode()


def part(text, heading):
    """The lines under one heading of a help, "" if it has none."""
    found = re.search(rf"^{heading}:\n((?:  .*\n)+)", text, re.MULTILINE)
    return found[1] if found else ""


def commands_of(*command):
    text = help_of(*command)
    return COMMAND.findall(part(text, "Verbs") + part(text, "Kinds"))


def options_of(*command):
    """Each option with its value as the help writes it, such as {"--every": "=SPAN"}."""
    return dict(OPTION.findall(part(help_of(*command), "Options")))


def all_commands():
    """[], ["parse"], ["parse", "gpus"] and so on: all that have a help."""
    for verb in [[], *([verb] for verb in commands_of())]:
        yield verb
        if verb:
            yield from ([*verb, kind] for kind in commands_of(*verb))
