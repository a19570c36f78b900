"""The tool's verbs and options, out of its command tree, as scdoc."""

from from_docs import escaped


def options(described: list[dict]) -> list[str]:
    """As the help has them; flags and choices are bold, what stands for a value is underlined."""
    out = []
    for option in described:
        first, *rest = option["name"].split(" ")
        words = [f"*{escaped(first)}*" if first.startswith("-") else f"_{escaped(first)}_"]
        words += [f"_{escaped(word)}_" if word.isupper() else f"*{escaped(word)}*" for word in rest]
        out.append(" ".join(words) + "\n\t" + escaped(option["description"]))
    return out


def sentence(text: str) -> str:
    return text[:1].upper() + text[1:] + "."


def commands(verb: dict, about: dict[str, str], above: list[dict]) -> list[str]:
    """Those below the verb, which has the options `above` that it lets through to them. Takes out of `about` what it
    has used."""
    out = []
    for below in verb["verbs"]:
        own = [option for option in below["options"] if option not in above and "--help" not in option["long"]]
        through = [f"*{escaped(option['name'])}*" for option in above if option in below["options"]]
        out += [f"## {below['name']}", f"*{escaped(below['usage'])}*", escaped(sentence(below["description"]))]
        out += [about.pop(below["name"], "").strip()]
        out += options([argument for argument in below["arguments"] if argument["description"]] + own)
        out += [f"Besides: {', '.join(through)}\\."] if through else []
        out += commands(below, about, own)
    return [paragraph for paragraph in out if paragraph]
