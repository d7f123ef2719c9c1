"""Every fault that can be planted in a source."""

import re

from .source import KEYWORDS, is_declaration, matching, scopes_of, tokens_of

KINDS = ("constant", "operator", "bound", "index", "statement", "condition")

OPERATORS = {"+": "-", "-": "+", "*": "/", "/": "*", "==": "!=", "!=": "==", "&&": "||", "||": "&&", "+=": "-=", "-=": "+=",
             "*=": "/=", "/=": "*=", "%": "*", "<<": ">>", ">>": "<<", "&": "|", "|": "&"}
RELATIONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}


def changed_digit(text, chance):
    """The number with another digit; None where it has only hexadecimal letters. Exponents and suffixes stay."""
    mantissa = re.match(r"0x[\da-fA-F.]+|[\d.']+", text).group()
    places = [i for i, c in enumerate(mantissa) if c.isdigit() and not (mantissa.startswith("0x") and i == 0)]
    if "." not in text and "'" not in text:
        places = places[-1:]
    if not places:
        return None
    place = chance.choice(places)
    digit = int(text[place])
    other = chance.choice([d for d in (digit - 1, digit + 1) if 0 <= d <= 9])
    return text[:place] + str(other) + text[place + 1:]


def faults_of(module, text, chance):
    """Every fault that can be planted in a source, by kind."""
    tokens = tokens_of(text)
    scopes, starts = scopes_of(tokens)
    found = {kind: [] for kind in KINDS}

    def add(kind, start, end, after):
        line = text.count("\n", 0, start) + 1
        found[kind].append({"module": module, "kind": kind, "line": line, "column": start - text.rfind("\n", 0, start),
                            "before": text[start:end], "after": after, "source": text.split("\n")[line - 1].strip()})

    for i, token in enumerate(tokens[:-1]):
        body = scopes[i] == "body"
        back, ahead = tokens[i - 1], tokens[i + 1]
        spaced = text[token.start - 1].isspace() and text[token.end].isspace()
        first = tokens[starts[i]]
        if first.text in ("static_assert", "template", "using", "enum") or not body and scopes[i] == "type" and "=" not in [
                t.text for t in tokens[starts[i]:i]]:
            continue
        if token.kind == "number":
            if back.text == "[" and ahead.text == "]":
                continue
            in_template = text[token.end] == ">" or text[token.start - 1] == "<"
            if not in_template and (body or scopes[i] == "initialiser" or "=" in [t.text for t in tokens[starts[i]:i]]):
                other = changed_digit(token.text, chance)
                if other is not None:
                    add("constant", token.start, token.end, other)
        elif not body:
            continue
        elif token.text in RELATIONS and spaced:
            if token.text in ("<", ">") and chance.random() < 0.5:
                add("bound", token.start, token.end, "+ 1 <" if token.text == "<" else "- 1 >")
            else:
                add("bound", token.start, token.end, RELATIONS[token.text])
            add("operator", token.start, token.end, {"<": ">", ">": "<", "<=": ">=", ">=": "<="}[token.text])
        elif token.text in OPERATORS and spaced:
            add("operator", token.start, token.end, OPERATORS[token.text])
        elif token.text == "-" and text[token.end] not in " -" and (back.kind == "operator" and back.text not in ")]" or back.text == "return"):
            add("operator", token.start, token.end, "")
        elif token.text in ("++", "--"):
            add("operator", token.start, token.end, "--" if token.text == "++" else "++")
        elif token.text == "[" and (back.kind == "name" and back.text not in ("return", "auto") or back.text in (")", "]")):
            close = matching(tokens, i)
            since = [t.text for t in tokens[starts[i]:i]]
            if close is None or close == i + 1 or is_declaration(tokens, starts[i], i) and "=" not in since:
                continue
            start, end = ahead.start, tokens[close - 1].end
            if close == i + 2 and ahead.kind == "number":
                add("index", start, end, str(int(ahead.text) + (1 if ahead.text == "0" or chance.random() < 0.5 else -1)))
            else:
                add("index", start, end, text[start:end] + chance.choice((" + 1", " - 1")))
        elif token.text in ("if", "while") and ahead.text == "(":
            close = matching(tokens, i + 1)
            add("condition", ahead.end, tokens[close].start, "!(" + text[ahead.end:tokens[close].start] + ")")
        # a statement starts here
        if body and starts[i] == i and (token.kind == "name" and token.text not in KEYWORDS or token.text in ("*", "++", "--", "(")):
            end = next((j for j in range(i, len(tokens)) if tokens[j].text == ";" and starts[j] == i and scopes[j] == "body"), None)
            if end is not None and end > i and not is_declaration(tokens, i, end) and text.count("\n", token.start, tokens[end].end) < 3:
                add("statement", token.start, tokens[end].start, "")
    return found
