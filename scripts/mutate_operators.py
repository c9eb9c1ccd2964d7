"""How mutate.py changes a line of C++: the operators, and what they leave alone."""

import re

NOT_CODE = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|^[ \t]*#(?:\\\n|[^\n])*'
    r"|'(?:\\.|[^'\\\n])+'", re.S | re.M)
# What only logs, asserts at most, or saves time.
UNCHANGED = re.compile(
    r"\b(qDebug|qWarning|qCritical|Q_ASSERT|static_assert|reserve|footer|description)\b"
    r"|^\s*[\w:]+ \w+\[\w+\];")
# Lines without machine code that hold data: rows of tables, constants, enumerators.
DATA = re.compile(r"\s*(\{.*\},?|[\w\s,]+,?|\w+ = .*,?|((static|const|constexpr|extern) ).*=.*[;{])$")
SWAPS = [
    ("boundary", r"(?<= )(<=?|>=?)(?= |$)", {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}),
    ("condition", r"(?<= )(==|!=)(?= |$)", {"==": "!=", "!=": "=="}),
    ("condition", r"!(?=[\w(])", {"!": ""}),
    ("logic", r"(?<= )(&&|\|\|)(?= |$)", {"&&": "||", "||": "&&"}),
    ("arithmetic", r"(?<=[^\"] )([-+]=?)(?= [^\"]|$)", {"+": "-", "-": "+", "+=": "-=", "-=": "+="}),
    ("arithmetic", r"\+\+|--", {"++": "--", "--": "++"}),
    ("constant", r"\b(true|false)\b", {"true": "false", "false": "true"}),
]
STATEMENT = re.compile(
    r"\s*(?!return\b|throw\b|delete\b)((?:\+\+|--|\*)?[\w:]+(?:[.\w\[\]]|->|::|\(\))*"
    r"(\(.*\)| ([-+*/|&^]|<<|>>)?= .*| << .*|\+\+|--)?;)$")
NUMBER = re.compile(r"(?<![\w.'\"])(0x[0-9A-Fa-f]+|\d+)(?=[uUlL]*(?![\w.']))")
EMPTY = re.compile(r"(0|false|true|nullptr|[A-Z]\w*\(\)|\{\}|[\w:]*(OK|Ok|NONE|None))$")


def code_of(text):
    """The text with spaces for comments, strings and preprocessor lines; offsets stay the same."""
    def blank(match):
        token = match.group()
        if re.match(r"'[A-Za-z0-9]'", token):
            return token
        spaces = re.sub(r"[^\n]", " ", token)
        return '"' + spaces[2:] + '"' if token[0] in "\"'R" else spaces
    return NOT_CODE.sub(blank, text)


def changes_of(line, code, previous):
    """All changes of a line: the operator, where the changed text starts and ends, the new text.

    code is the line as code_of() has it; previous is the line of code before it, by which the start
    of a statement is known.
    """
    for operator, pattern, swaps in SWAPS:
        for match in re.finditer(pattern, code):
            yield operator, match.start(), match.end(), swaps[match.group()]
    for match in NUMBER.finditer(code):
        value = int(match.group(), 16 if match.group().startswith("0x") else 10)
        form = "0x{:X}" if match.group().startswith("0x") else "{}"
        for other in {0: [1], 1: [0]}.get(value, [value - 1, value + 1]):
            yield "constant", match.start(), match.end(), form.format(other)
    for match in re.finditer(r"'([A-Za-z0-9])'", code):
        yield "constant", match.start(1), match.end(1), chr(ord(match.group(1)) + 1)
    for match in re.finditer(r"\b(size|length|count)\(\)|\[[a-z]\w*(?=\](?! ?[({]))", code):
        yield "off by one", match.end(), match.end(), " + 1"
    match = re.search(r"\b(?:if|while) (\(.*\))(?: \{|;)?$", code)
    if match:
        yield "condition", match.start(1), match.end(1), "(!" + line[slice(*match.span(1))] + ")"
    match = STATEMENT.match(code)
    if match and (not previous or re.search(r"[;{}:)]$|\belse$", previous)):
        yield "dropped statement", match.start(1), match.end(1), ";"
    match = re.match(r"\s*return (.+);$", code)
    if match and not EMPTY.match(match.group(1)):
        yield "return value", match.start(1), match.end(1), "{}"
