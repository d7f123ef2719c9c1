"""Tokens of a C++ source, and where its scopes and statements start."""

import re

TOKEN = re.compile(r"""
  (?P<skip>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*)
 |(?P<text>(?:u8|[uUL])?R"(?P<mark>[^(]*)\(.*?\)(?P=mark)"|(?:u8|[uUL])?"(?:\\.|[^"\\])*"|'(?:\\.|[^'\\])+')
 |(?P<number>\.?\d(?:[eEpP][+-]|'?[\w.])*)
 |(?P<name>[A-Za-z_]\w*)
 |(?P<operator><<=|>>=|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
""", re.X | re.S | re.M)
KEYWORDS = {"return", "using", "case", "default", "goto", "typedef", "static_assert", "if", "else", "for", "while", "do", "switch",
            "struct", "const", "constexpr", "static", "auto", "template", "throw", "delete", "enum", "class", "union"}


class Token:
    def __init__(self, kind, text, start):
        self.kind, self.text, self.start, self.end = kind, text, start, start + len(text)


def tokens_of(text):
    found = []
    for match in TOKEN.finditer(text):
        if match.lastgroup != "skip" and match.group("skip") is None:
            kind = next(k for k in ("text", "number", "name", "operator") if match.group(k) is not None)
            found.append(Token(kind, match.group(), match.start()))
    return found


def scopes_of(tokens):
    """For every token: the innermost scope (namespace, type, body or initialiser), and where its statement starts."""
    scopes, starts = [], []
    stack = [["namespace", 0, 0]]  # kind, open parentheses, first token of the statement
    closing = []                   # tokens that open what is open
    for i, token in enumerate(tokens):
        top = stack[-1]
        scopes.append(top[0])
        starts.append(top[2])
        if token.text in "([" and token.kind == "operator":
            closing.append(i)
            top[1] += 1
        elif token.text in ")]" and token.kind == "operator":
            opened = closing.pop()
            top[1] -= 1
            # behind the parenthesis of if, for, while and switch stands a statement
            if top[1] == 0 and token.text == ")" and (tokens[opened - 1].text in ("if", "for", "while", "switch")
                                                      or tokens[opened - 1].text == "constexpr" and tokens[opened - 2].text == "if"):
                top[2] = i + 1
        elif token.text == "{":
            head = [t.text for t in tokens[top[2]:i]]
            if top[0] in ("body", "initialiser"):
                kind = "type" if head and head[0] in ("struct", "class", "enum", "union") else top[0]
            elif "namespace" in head or head[:1] == ["extern"]:
                kind = "namespace"
            elif "=" in head:
                kind = "initialiser"
            elif "(" in head:
                kind = "body"
            else:
                kind = "type"
            stack.append([kind, 0, i + 1])
        elif token.text == "}":
            stack.pop()
            if stack[-1][1] == 0:
                stack[-1][2] = i + 1
        elif token.text in (";", "else", "do") and top[1] == 0 or token.text == ":" and top[1] == 0 and tokens[top[2]].text in ("case", "default"):
            top[2] = i + 1
    return scopes, starts


def is_declaration(tokens, first, last):
    """True for `type name ...`, where a type may be qualified, a template, a pointer or a reference."""
    i = first
    while i < last and tokens[i].text in ("const", "constexpr", "static", "thread_local", "unsigned", "auto", "struct"):
        return True
    while i + 1 < last and tokens[i].kind == "name" and tokens[i + 1].text == "::":
        i += 2
    if i >= last or tokens[i].kind != "name":
        return False
    i += 1
    if tokens[i].text == "<" and tokens[i].start == tokens[i - 1].end:
        return True
    while i < last and tokens[i].text in "*&" and tokens[i].start == tokens[i - 1].end:
        i += 1
    return i < last and tokens[i].kind == "name"


def matching(tokens, i):
    depth = 0
    for j in range(i, len(tokens)):
        if tokens[j].kind == "operator":
            depth += (tokens[j].text in "([{") - (tokens[j].text in ")]}")
            if depth == 0:
                return j
    return None
