#!/usr/bin/env python3
"""completion.py TREE FUNCTION OUT: the completion of bash for volad-dev: the tables out of the tool's own command tree
(the JSON file TREE), in front of the function that reads them, which is written by hand."""

import json
import pathlib
import shlex
import sys

COMPLETED = ("FILE", "DIR", "PATH", "COMMAND")


def kind(option: dict) -> str:
    """What the function completes a value with: choices begin with "|"; "-" is a value that nobody can know."""
    if option["choices"]:
        return "|" + "|".join(option["choices"])
    word = option["type"].partition("|")[0]
    return word if word in COMPLETED else "-"


def rows(verb: dict) -> list[str]:
    options = [name + (":" + kind(option) if option["takesValue"] else "")
               for option in verb["options"] for name in option["long"] + option["short"]]
    fields = {
        "verbs": [below["name"].split(" ")[-1] for below in verb["verbs"]],
        "options": options,
        "arguments": [kind(argument) for argument in verb["arguments"]],
        "many": ["yes"] if any(argument["takesMany"] for argument in verb["arguments"]) else [],
    }
    row = [f"    {shlex.quote(verb['name'])})"]
    row += [f"        {name}={shlex.quote(' '.join(words))}" for name, words in fields.items()]
    return [*row, "        ;;", *(line for below in verb["verbs"] for line in rows(below))]


def main() -> None:
    tree, function, out = map(pathlib.Path, sys.argv[1:4])
    table = ["# Made by the build out of the options of volad-dev.", "", "# Sets what may stand behind the verb $1.",
             "_volad_dev_verb() {", "    case $1 in", *rows(json.loads(tree.read_text())), "    esac", "}", ""]
    out.write_text("\n".join(table) + "\n" + function.read_text())


if __name__ == "__main__":
    main()
