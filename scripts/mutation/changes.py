"""The small changes of a C++ source: what to put in the place of which of its characters.

The text is read as tokens, not as C++. What tells a type from an expression is the layout that clang-format gives
every source here; what is mistaken all the same the compiler refuses, and then it does not count.
"""

import dataclasses
import re

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
      | (?P<string>"(?:\\.|[^"\\\n])*")
      | (?P<character>'(?:\\.|[^'\\\n])+')
      | (?P<number>\b\d(?:[\w.]|'(?=\w))*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<operator><=>|<<=|>>=|->\*|<<|>>|<=|>=|==|!=|&&|\|\||\+\+|--|->|::|\[\[|\]\]|[-+*/%&|^]=|[^\s\w])""",
    re.DOTALL | re.MULTILINE | re.VERBOSE,
)
TURNED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
# Words that do not begin a statement that can be left out.
NO_EXPRESSION = set(
    "alignas auto case catch class co_await co_return const constexpr default do else enum explicit extern for"
    " friend goto if inline mutable namespace private protected public return sizeof static static_assert"
    " struct switch template thread_local throw try typedef typename union using virtual volatile while".split()
)
NOT_CALLED = {"if", "for", "while", "switch", "return", "sizeof", "catch", "decltype", "alignas", "noexcept"}


@dataclasses.dataclass(frozen=True)
class Change:
    kind: str
    begin: int
    end: int
    replacement: str
    line: int
    before: str  # the lines that change, on one line
    after: str

    def applied_to(self, source):
        return source[: self.begin] + self.replacement + source[self.end:]


@dataclasses.dataclass
class Token:
    kind: str
    text: str
    begin: int
    end: int


def tokens_of(source):
    """The tokens without comments, directives and attributes."""
    tokens, in_attribute = [], False
    for match in TOKEN.finditer(source):
        token = Token(match.lastgroup, match.group(), match.start(), match.end())
        if token.text == "[[":
            in_attribute = True
        elif token.text == "]]" and in_attribute:
            in_attribute = False
        elif not in_attribute and token.kind not in ("comment", "directive"):
            tokens.append(token)
    return tokens


def spaced(source, token):
    """Whether blanks stand around it: in this layout a "<" is a comparison then, and no bracket."""
    return source[token.begin - 1] == " " and source[token.end] in " \n"


def turned_operators(source, tokens):
    for before, token in zip(tokens, tokens[1:]):
        if token.text in TURNED and spaced(source, token) and before.text not in ("template", "operator"):
            yield "operator turned", token.begin, token.end, TURNED[token.text]


def changed_constants(_source, tokens):
    for token in tokens:
        number = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)([uUlLzZ]*)", token.text)
        if token.kind == "number" and number:
            digits, suffix = number.group(1).replace("'", ""), number.group(2)
            is_hex = digits[:2].lower() == "0x"
            value = int(digits, 16 if is_hex else 10) + 1
            yield "constant off by one", token.begin, token.end, (hex(value) if is_hex else str(value)) + suffix
        elif token.kind == "character" and len(token.text) == 3 and token.text[1] not in "&[~":
            yield "constant off by one", token.begin, token.end, f"'{chr(ord(token.text[1]) + 1)}'"
        elif token.text in ("true", "false"):
            yield "constant turned", token.begin, token.end, "false" if token.text == "true" else "true"


def changed_strings(_source, tokens):
    for token in tokens:
        if token.kind != "string":
            continue
        content = token.text[1:-1]
        # The first letter or digit that is itself: not the one that an escape sequence ends with.
        found = re.search(r"(?<!\\)[A-Za-z0-9]", content)
        if found is None:
            changed = content + "!"
        else:
            letter = found.group()
            other = "a" if letter == "z" else "A" if letter == "Z" else "0" if letter == "9" else chr(ord(letter) + 1)
            changed = content[: found.start()] + other + content[found.end():]
        yield "string changed", token.begin, token.end, f'"{changed}"'


def end_of_statement(tokens, first):
    """The index of the ";" of a statement without a block; none when there is one."""
    depth = 0
    for index in range(first, len(tokens)):
        text = tokens[index].text
        if text in "([{":
            if depth == 0 and text == "{":
                return None
            depth += 1
        elif text in ")]}":
            depth -= 1
            if depth < 0:
                return None
        elif text == ";" and depth == 0:
            return index
    return None


def is_expression(source, statement):
    """Whether the tokens are an expression: neither a declaration nor what begins with a keyword."""
    first = statement[0]
    if first.text in ("break", "continue", "delete"):
        return True
    if first.text in NO_EXPRESSION or not (first.kind == "word" or first.text in ("++", "--", "*", "::")):
        return False
    depth = 0
    for before, token in zip(statement, statement[1:]):
        if token.text in "([{":
            return depth == 0  # a call or an element, before any declared name
        if token.text in ("=", "+=", "-=", "|=", "&=", "++", "--"):
            return True
        declares = before.kind == "word" and (token.kind == "word" or is_mark_of_type(source, token))
        if declares or token.text == "<":
            return False
    return False


def is_mark_of_type(source, token):
    """Whether it is the "*" or "&" of a type, which stands at the type's name in this layout."""
    return token.text in ("*", "&", "&&") and source[token.begin - 1] != " "


def left_out_statements(source, tokens):
    for index in range(1, len(tokens)):
        if tokens[index - 1].text not in (";", "{", "}", ")", "else", ":"):
            continue
        last = end_of_statement(tokens, index)
        if last is not None and last > index and is_expression(source, tokens[index:last]):
            yield "statement left out", tokens[index].begin, tokens[last].begin, ""


def arguments_of(tokens, opening):
    """The arguments of the call whose "(" is at this index, each a list of tokens."""
    arguments, current, depth = [], [], 0
    for token in tokens[opening:]:
        if token.text in "([{":
            depth += 1
            if depth == 1:
                continue
        elif token.text in ")]}":
            depth -= 1
            if depth == 0:
                return arguments + [current]
        if depth == 1 and token.text == ",":
            arguments.append(current)
            current = []
        else:
            current.append(token)
    return []


def is_parameter(source, tokens):
    """Whether the tokens declare something: "int x", "const T& x"."""
    return any(
        before.kind == "word" and (token.kind == "word" or is_mark_of_type(source, token))
        for before, token in zip(tokens, tokens[1:])
    )


def exchanged_arguments(source, tokens):
    for index in range(len(tokens) - 1):
        name, opening = tokens[index], tokens[index + 1]
        # In capitals: an annotation for the compiler's analysis.
        if name.kind != "word" or opening.text != "(" or name.text in NOT_CALLED or name.text.isupper():
            continue
        arguments = arguments_of(tokens, index + 1)
        if not all(arguments) or any(is_parameter(source, argument) for argument in arguments):
            continue
        for left, right in zip(arguments, arguments[1:]):
            first, second = (source[part[0].begin: part[-1].end] for part in (left, right))
            kinds = {part[0].kind if len(part) == 1 else "other" for part in (left, right)}
            if first != second and not {"string", "number"} <= kinds:
                between = source[left[-1].end: right[0].begin]
                yield "arguments exchanged", left[0].begin, right[-1].end, second + between + first


def changes_of(source):
    """All changes of a text, each once."""
    tokens = tokens_of(source)
    found = {}
    for operator in (turned_operators, changed_constants, changed_strings, left_out_statements, exchanged_arguments):
        for kind, begin, end, replacement in operator(source, tokens):
            first = source.rfind("\n", 0, begin) + 1
            last = source.find("\n", end)
            before = " ".join(source[first:last].split())
            after = " ".join((source[first:begin] + replacement + source[end:last]).split())
            line = source.count("\n", 0, begin) + 1
            found.setdefault((begin, end, replacement), Change(kind, begin, end, replacement, line, before, after))
    return list(found.values())
