#!/usr/bin/env python3
"""Makes the documents that follow from the command's table of options: the man page, the completions for bash, zsh and
fish, and the table in docs/commands.md. usage: generate.py FLOWBOOK_COMMAND [--check]

With --check nothing is written; what differs is named, and the exit code is 1.
"""

import json
import re
import subprocess
import sys
import textwrap
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FLOWBOOK_PLACES = {"INPUT...", "FILE", "SOURCE", "TARGET", "A", "B", "BASE", "OURS", "THEIRS"}
FILE_VALUES = {"FILE", "LIST", "SOURCE", "TABLE"}


def read_table(command):
    lines = subprocess.run([command, "help", "--json"], check=True, capture_output=True, text=True, timeout=60).stdout
    return [json.loads(line) for line in lines.splitlines()]


def is_place(option):
    return not option["name"].startswith("-")


def shown(command, group=None):
    return [each for each in command["options"]
            if not is_place(each) and not each["hidden"] and group in (None, each["group"])]


def places(command):
    return [each for each in command["options"] if is_place(each)]


def spellings(option):
    return ([f"-{option['letter']}"] if option["letter"] else []) + [option["name"]]


def choices(option):
    """What the argument may be, where only certain words are allowed."""
    return option["value"].split("|") if "|" in option["value"] else []


def sentence(option):
    default = f" ({option['default']})" if option["default"] else ""
    return f"{option['help']}{default}"


# The man page


def roff(text):
    """Prose as lines of mdoc, a sentence a line, which starts nothing that would be a request."""
    lines = []
    for line in re.sub(r"(?<=[A-Za-z0-9)'][.?!]) (?=[A-Z'-])", "\n", text.replace("\\", "\\e")).split("\n"):
        words, piece = line.split(" "), ""
        for word in words:
            if piece and len(piece) + 1 + len(word) > 70:
                lines.append(piece)
                piece = word
            else:
                piece = f"{piece} {word}" if piece else word
        lines.append(piece)
    return "\n".join("\\&" + line if line[:1] in (".", "'") else line for line in lines).replace("-", "\\-")


def mdoc_argument(name):
    return " ".join(f"Ar {part}" if index == 0 else f"| {part}" for index, part in enumerate(name.split("|")))


def mdoc_option(option):
    names = " , ".join(f"Fl {spelling[1:]}" for spelling in spellings(option))
    return names.replace("-", "\\-") + (" " + mdoc_argument(option["value"]) if option["value"] else "")


def synopsis(command):
    lines = [".Nm", f".Cm {command['name']}"]
    for option in shown(command, "command") + shown(command, "output"):
        words = mdoc_option({**option, "letter": ""} if not option["letter"] else {**option, "name": ""}).replace(
            " , Fl ", "") if option["letter"] else mdoc_option(option)
        lines.append(f".{words}" if option["required"] else f".Op {words}")
    for place in places(command):
        word = f"Ar {place['name'].rstrip('.')}" + (" ..." if place["name"].endswith("...") else "")
        lines.append(f".{word}" if place["required"] else f".Op {word}")
    return "\n".join(lines)


def described(options):
    lines = [".Bl -tag -width Ds"]
    for option in options:
        lines += [f".It {mdoc_option(option)}", roff(sentence(option) + ".")]
        lines += [roff(option["details"])] if option["details"] else []
    return "\n".join(lines + [".El"]) if options else ""


def command_entry(command):
    paragraphs = [roff(paragraph) for paragraph in [command["summary"] + "."] + command["description"].split("\n\n")
                  if paragraph]
    parts = [f".It Cm {command['name']}", "\n.Pp\n".join(paragraphs), described(shown(command, "command"))]
    return "\n".join(part for part in parts if part)


def shared_options(commands):
    """The options that several commands have, each once, with the names of these commands."""
    entries = {}
    for command in commands:
        for option in shown(command):
            if option["group"] != "command":
                entries.setdefault(option["name"], (option, []))[1].append(command["name"])
    lines = [".Bl -tag -width Ds"]
    for option, names in sorted(entries.values(), key=lambda entry: entry[0]["group"]):
        lines += [f".It {mdoc_option(option)}", roff(option["help"] + "."), *textwrap.wrap(f"({', '.join(names)})", 76)]
    return "\n".join(lines + [".El"])


def examples(command):
    """The examples with their explanations, which are comments in the table."""
    lines = command["examples"].split("\n")
    escaped = "\n".join(line.replace("\\", "\\e").replace("-", "\\-") for line in lines)
    return f".Bd -literal -offset indent\n{escaped}\n.Ed"


def manual(commands):
    template = (ROOT / "packaging/flowbook.1.in").read_text(encoding="utf-8")
    for name, text in {
            "SYNOPSIS": "\n".join(map(synopsis, commands)),
            "SHARED": shared_options(commands),
            "COMMANDS": "\n".join([".Bl -tag -width Ds", *map(command_entry, commands), ".El"]),
            "EXAMPLES": "\n".join(map(examples, commands))}.items():
        template = template.replace(f"@{name}@", text)
    return template


# Completions


def shell_words(words):
    return " ".join(words)


def bash(commands):
    lines = ["# Completes the flowbook command in bash. Made by packaging/generate.py.", "_flowbook() {",
             "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}",
             "    local command=${COMP_WORDS[1]} options='' words='' kind=flowbooks",
             f"    local commands='{shell_words(command['name'] for command in commands)}'", "",
             "    # bash parts --option=value at the equals sign.",
             "    if [[ $current == '=' ]]; then",
             "        current=''",
             "    elif [[ $previous == '=' ]]; then",
             "        previous=${COMP_WORDS[COMP_CWORD - 2]}",
             "    fi",
             "    ((COMP_CWORD > 1)) || command=''", "    case $command in"]
    for command in commands:
        names = [name for option in shown(command) for name in spellings(option)]
        lines.append(f"    {command['name']}) options='{shell_words(names)}' ;;")
    lines += ["    *)", "        options='--version -V'", "        words=$commands", "        ;;", "    esac",
              "    [[ $command == help ]] && words=$commands", "    case $command:$previous in"]
    for command in commands:
        for option in shown(command):
            if option["value"]:
                pattern = " | ".join(f"{command['name']}:{name}" for name in spellings(option))
                if choices(option):
                    action = f"words='{shell_words(choices(option))}' current=${{current#=}}"
                elif option["value"] == "FOLDER":
                    action = "kind=folders"
                else:
                    action = "kind=files" if option["value"] in FILE_VALUES else "kind=none"
                lines.append(f"    {pattern}) {action} ;;")
    return "\n".join(lines + [
        "    esac", "",
        "    COMPREPLY=()",
        "    [[ $kind == none ]] && return",
        "    [[ $current == -* ]] && words=\"$options -h --help\"",
        "    if [[ -n $words ]]; then",
        "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")",
        "        return",
        "    fi",
        "    compopt -o filenames",
        "    case $kind in",
        "    folders) mapfile -t COMPREPLY < <(compgen -d -- \"$current\") ;;",
        "    files) mapfile -t COMPREPLY < <(compgen -f -- \"$current\") ;;",
        "    *)",
        "        mapfile -t COMPREPLY < <(",
        "            compgen -d -- \"$current\"",
        "            compgen -f -X '!*.tqx' -- \"$current\"",
        "            compgen -f -X '!*.tqapp' -- \"$current\"",
        "        )",
        "        ;;",
        "    esac",
        "}",
        "complete -F _flowbook flowbook", ""])


def zsh_quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def zsh_bracket(text):
    return text.replace("\\", "\\\\").replace("[", "\\[").replace("]", "\\]").replace(":", "\\:")


def zsh_argument(option):
    if not option["value"]:
        return ""
    if choices(option):
        return f":{option['name'].lstrip('-')}:({' '.join(choices(option))})"
    kind = "_files -/" if option["value"] == "FOLDER" else "_files" if option["value"] in FILE_VALUES else " "
    return f":{option['value'].lower()}:{kind}"


def zsh_option(option):
    explained = f"[{zsh_bracket(option['help'])}]{zsh_argument(option)}"
    if option["repeatable"]:
        return " ".join(zsh_quoted(f"*{name}{explained}") for name in spellings(option))
    others = " ".join(spellings(option) + option["without"].split())
    return " ".join(zsh_quoted(f"({others}){name}{explained}") for name in spellings(option))


def zsh_place(index, place):
    words = {"FOLDER": "_files -/", "COMMAND": "_flowbook_commands", "PATTERN": " ", "TEXT": " ",
             "ACTION": "(setup textconv)"}
    action = words.get(place["name"], '_files -g "*.(tqx|tqapp)"')
    position = "*" if place["repeatable"] else str(index + 1)
    return zsh_quoted(f"{position}:{place['name'].rstrip('.').lower()}:{action}")


def zsh(commands):
    lines = ["#compdef flowbook", "# Completes the flowbook command in zsh. Made by packaging/generate.py.", "",
             "_flowbook_commands() {", "    local -a commands=("]
    lines += ["        " + zsh_quoted(f"{command['name']}:{command['summary']}") for command in commands]
    lines += ["    )", "    _describe command commands", "}", "", "_flowbook() {",
              "    local context state state_descr line", "    typeset -A opt_args",
              "    local -a help=('(-h --help)'{-h,--help}'[Print help]')", "",
              "    _arguments -C $help '(-V --version)'{-V,--version}'[Print the version]' \\",
              "        '1:command:_flowbook_commands' '*::argument:->argument' && return", "    case $line[1] in"]
    for command in commands:
        words = [zsh_option(option) for option in shown(command)]
        words += [zsh_place(index, place) for index, place in enumerate(places(command))]
        lines += [f"    {command['name']})", "        _arguments -s $help" +
                  "".join(f" \\\n            {word}" for word in words), "        ;;"]
    return "\n".join(lines + ["    esac", "}", "", '_flowbook "$@"', ""])


def fish_quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish_argument(option):
    if not option["value"]:
        return ""
    if choices(option):
        return f" -x -a {fish_quoted(' '.join(choices(option)))}"
    if option["value"] == "FOLDER":
        return " -x -a '(__fish_complete_directories)'"
    return " -r" if option["value"] in FILE_VALUES else " -x"


def fish(commands):
    lines = ["# Completes the flowbook command in fish. Made by packaging/generate.py.",
             "set -l none __fish_use_subcommand", "",
             "complete -c flowbook -s h -l help -d 'Print help'",
             "complete -c flowbook -n $none -s V -l version -d 'Print the version'"]
    for command in commands:
        lines.append(f"complete -c flowbook -n $none -f -a {command['name']} -d {fish_quoted(command['summary'])}")
    for command in commands:
        seen = f"'__fish_seen_subcommand_from {command['name']}'"
        for option in shown(command):
            letter = f" -s {option['letter']}" if option["letter"] else ""
            lines.append(f"complete -c flowbook -n {seen}{letter} -l {option['name'][2:]}{fish_argument(option)}"
                         f" -d {fish_quoted(option['help'])}")
        if command["name"] == "help":
            lines.append(f"complete -c flowbook -n {seen} -f -a '{shell_words(each['name'] for each in commands)}'")
    return "\n".join(lines + [""])


# docs/commands.md


def list_row(command):
    needed = [f"{spellings(option)[0]} {option['value']}" for option in shown(command) if option["required"]]
    taken = [place["name"] if place["required"] or place["repeatable"] else f"[{place['name']}]"
             for place in places(command)]
    own = [spellings(option)[0] for option in shown(command, "command") if not option["required"]]
    usage = " ".join(["flowbook", command["name"], *taken, *needed])
    return f"| `{usage}` | {command['summary']} | {' '.join(f'`{name}`' for name in own)} |"


def command_list(commands):
    text = (ROOT / "docs/commands.md").read_text(encoding="utf-8")
    table = "\n".join(["| Command | Does | Options of its own |", "|---|---|---|", *map(list_row, commands)])
    return re.sub(r"\| Command \|[^\n]*\n(\|[^\n]*\n)+", lambda _: table + "\n", text, count=1)


def main():
    commands = read_table(sys.argv[1])
    documents = {"packaging/flowbook.1": manual, "packaging/completions/flowbook.bash": bash,
                 "packaging/completions/_flowbook": zsh, "packaging/completions/flowbook.fish": fish,
                 "docs/commands.md": command_list}
    stale = []
    for name, make in documents.items():
        text, path = make(commands), ROOT / name
        if not path.exists() or path.read_text(encoding="utf-8") != text:
            stale.append(name)
            if "--check" not in sys.argv[2:]:
                path.write_text(text, encoding="utf-8")
    if stale and "--check" in sys.argv[2:]:
        sys.exit(f"{', '.join(stale)}: not what the table of options says; './dev generate' writes them anew")


if __name__ == "__main__":
    main()
