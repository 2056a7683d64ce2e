"""Single changes to C++ source, made from its tokens: plausible mistakes in the code.

The sources are formatted by clang-format, so an operator between blanks is binary, and '<' without
blanks belongs to a template.
"""

import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<space>\s+|//[^\n]*|/\*.*?\*/)
      | (?P<line>\#(?:[^\n]*\\\n)*[^\n]*)
      | (?P<string>"(?:\\.|[^"\\\n])*")
      | (?P<char>'(?:\\.|[^'\\\n])+')
      | (?P<number>\d[\w']*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)""",
    re.VERBOSE | re.DOTALL,
)
OPENING = {"(": ")", "[": "]", "{": "}"}
BINARY = {
    "==": [("flip", "!=")],
    "!=": [("flip", "==")],
    "<": [("bound", "<=")],
    "<=": [("bound", "<")],
    ">": [("bound", ">=")],
    ">=": [("bound", ">")],
    "&&": [("logic", "||")],
    "||": [("logic", "&&")],
    "+": [("arithmetic", "-")],
    "-": [("arithmetic", "+")],
    "*": [("arithmetic", "/")],
    "/": [("arithmetic", "*")],
    "+=": [("arithmetic", "-=")],
    "-=": [("arithmetic", "+=")],
    "&": [("arithmetic", "|")],
    "|": [("arithmetic", "&")],
    ">>": [("arithmetic", "<<")],
    "<<": [("arithmetic", ">>")],
    "?": [("always", "|| true ?"), ("never", "&& false ?")],
}
# The second word of statements that are not declarations.
AFTER_FIRST = {"(", "=", "+=", "-=", ".", "->", "[", "++", "--"}
LEAVING = {"return", "break", "continue"}
CONTROLS = {"if", "for", "while", "switch"}
LITERALS = {"true", "false", "nullptr"}
NOT_SWAPPED = {"min", "max", "syslog"}
COMPARISONS = {"==", "!=", "<", "<=", ">", ">="}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


@dataclass(frozen=True)
class Mutant:
    """A change of source[start:end] of a file to `text`."""

    file: str
    line: int
    column: int
    rule: str
    start: int
    end: int
    text: str
    key: str  # rule, with #2 for the second one in equal lines of the file, and so on
    source_line: str

    @property
    def name(self):
        return f"{self.file}:{self.line}:{self.column}:{self.rule}"

    def applied(self, source):
        return source[: self.start] + self.text + source[self.end :]


def tokens_of(source):
    tokens = []
    for match in TOKEN.finditer(source):
        if match.lastgroup not in ("space", "line"):
            tokens.append(Token(match.lastgroup, match.group(), match.start()))
    return tokens


def partners(tokens):
    """Index of each opening bracket -> index of its closing bracket."""
    closing, stack = {}, []
    for index, token in enumerate(tokens):
        if token.text in OPENING:
            stack.append(index)
        elif stack and token.text == OPENING[tokens[stack[-1]].text]:
            closing[stack.pop()] = index
    return closing


def static_assertions(tokens, closing):
    """The indexes in static_asserts: changes there fail at once, or never."""
    found = set()
    for index, token in enumerate(tokens):
        if token.text == "static_assert":
            found.update(range(index, closing[index + 1] + 1))
    return found


def next_number(text):
    """A number other than `text`."""
    digits = re.match(r"0[xX][0-9a-fA-F']+|[0-9']+", text).group()
    suffix = text[len(digits) :]
    plain = digits.replace("'", "")
    octal = len(plain) > 1 and plain[0] == "0" and plain[1] not in "xX"
    value = int(plain, 8 if octal else 0)
    return str(0 if value == 1 else value + 1) + suffix


def constants(tokens, source):
    for before, token in zip([Token("sign", ";", 0), *tokens], tokens):
        if token.kind == "number":
            # Elsewhere the operator's change has the same effect, or the first value is never used.
            if before.text not in COMPARISONS and before.text != "-":
                yield "constant", token.start, token.end, next_number(token.text)
        elif token.text in ("true", "false"):
            yield "constant", token.start, token.end, "false" if token.text == "true" else "true"
        elif token.kind == "char":
            yield "constant", token.start, token.end, "'~'"
        elif token.kind == "string" and source[: token.start].rsplit(None, 1)[-1] != "extern":
            yield "text", token.end - 1, token.end - 1, "~"


def operators(tokens, source):
    for index, token in enumerate(tokens):
        spaced = source[token.start - 1] in " \n" and source[token.end] in " \n"
        if token.text == "|" and is_flag(tokens, index):
            continue
        if spaced and token.kind == "sign":
            for rule, text in BINARY.get(token.text, []):
                yield rule, token.start, token.end, text
        elif token.text == "!":
            yield "negation", token.start, token.end, ""
        elif token.text == "~" and source[token.end] not in "ABCDEFGHIJKLMNOPQRSTUVWXYZ":
            yield "negation", token.start, token.end, ""
        elif token.text in ("++", "--"):
            yield "arithmetic", token.start, token.end, "--" if token.text == "++" else "++"


def conditions(tokens, source, closing):
    """Negates conditions and results that no change of an operator negates."""
    for index, token in enumerate(tokens[:-1]):
        if token.text in ("if", "while") and tokens[index + 1].text == "(":
            first, end = index + 2, closing[index + 1]
        elif token.text == "return":
            first, end = index + 1, end_of_statement(tokens, index, closing)
        else:
            continue
        if end is not None and is_plain(tokens[first:end]):
            text = source[tokens[first].start : tokens[end].start]
            yield "negation", tokens[first].start, tokens[end].start, f"!({text})"


def is_plain(tokens):
    if not tokens:
        return False
    if len(tokens) == 1 and (tokens[0].kind != "word" or tokens[0].text in LITERALS):
        return False
    signs = COMPARISONS | {"&&", "||", "!", "?", "+", "{"}
    return not any(token.text in signs or token.kind == "string" for token in tokens)


def is_flag(tokens, index):
    return tokens[index - 1].kind == tokens[index + 1].kind == "word"


def flags(tokens):
    """Omits one operand of a | b."""
    for index, token in enumerate(tokens):
        if token.text == "|" and is_flag(tokens, index):
            yield "flag", token.start, tokens[index + 1].end, ""
            if tokens[index - 2].text != "|":
                yield "flag", tokens[index - 1].start, tokens[index + 1].start, ""


def end_of_statement(tokens, index, closing):
    """The index of the ';' of the statement that begins at `index`, or None."""
    while index < len(tokens):
        text = tokens[index].text
        if text == ";":
            return index
        if text == "{" and tokens[index - 1].text in (")", "const", "else", "do"):
            return None
        if index in closing:
            index = closing[index]
        elif text in OPENING.values():
            return None
        index += 1
    return None


def second_word(tokens, index):
    """The index after the name a::b that begins at `index`."""
    index += 1
    while tokens[index].text == "::":
        index += 2
    return index


def statements(tokens, closing):
    """(first, last) indexes of the statements that can be omitted."""
    controls = {
        closing[index + 1]
        for index, token in enumerate(tokens[:-1])
        if token.text in CONTROLS and index + 1 in closing
    }
    found = []
    stack = []
    for index, token in enumerate(tokens):
        before = tokens[index - 1].text if index else ";"
        starts = before in (";", "{", "}", "else", "do") or index - 1 in controls
        starts = starts or (before == ":" and is_label(tokens, index - 1))
        if starts and (not stack or stack[-1] == "{"):
            last = end_of_statement(tokens, index, closing)
            if last is not None and can_be_left_out(tokens, index, last):
                found.append((index, last))
        if token.text in OPENING:
            stack.append(token.text)
        elif token.text in OPENING.values() and stack:
            stack.pop()
    return found


def is_label(tokens, colon):
    index = colon
    while tokens[index - 1].text not in (";", "{", "}", ":"):
        index -= 1
    return tokens[index].text in ("case", "default")


def can_be_left_out(tokens, first, last):
    text = tokens[first].text
    if tokens[last - 1].text in ("delete", "default"):
        return False
    if text in CONTROLS:
        return False
    if text in LEAVING or text in ("delete", "++", "--"):
        return True
    if text == "*":  # the target of an assignment, not a factor
        return tokens[first + 1].start == tokens[first].end
    if text == "(":
        return tokens[first + 1].text == "void"
    if tokens[first].kind != "word":
        return False
    return tokens[second_word(tokens, first)].text in AFTER_FIRST


def is_last_of_function(source, tokens, last):
    """Whether a function would end without returning its value."""
    return source[tokens[last].end :].split("}")[0] in ("\n", " ")


def left_out(tokens, source, closing):
    found = statements(tokens, closing)
    for first, last in found:
        if tokens[first].text == "return" and is_last_of_function(source, tokens, last):
            continue
        # An empty statement, so that a preceding if does not take the next statement.
        yield "dropped", tokens[first].start, tokens[last].end, ";"
    for (first, last), (second, end) in zip(found, found[1:]):
        if second == last + 1 and not {tokens[first].text, tokens[second].text} & LEAVING:
            if are_independent(tokens[first:last], tokens[second:end]):
                continue
            start, stop = tokens[first].start, tokens[end].end
            between = source[tokens[last].end : tokens[second].start]
            yield "reordered", start, stop, (
                source[tokens[second].start : stop] + between + source[start : tokens[last].end]
            )


def are_independent(one, other):
    """Whether both assign values, without calls, and neither uses what the other one sets."""

    def target(statement):
        texts = [token.text for token in statement]
        calls = texts.count("(") - texts.count("static_cast")
        plain = "=" in texts and calls == 0 and not {"++", "--"} & set(texts)
        return texts[: texts.index("=")] if plain else None

    def uses(statement, words):
        texts = [token.text for token in statement]
        return any(texts[place : place + len(words)] == words for place in range(len(texts)))

    targets = target(one), target(other)
    return None not in targets and not uses(one, targets[1]) and not uses(other, targets[0])


def arguments(tokens, source, closing):
    for index, token in enumerate(tokens[:-1]):
        if token.kind != "word" or tokens[index + 1].text != "(" or index + 1 not in closing:
            continue
        if token.text in CONTROLS or token.text in NOT_SWAPPED:
            continue
        found = split(tokens, index + 2, closing[index + 1], closing)
        if any(is_parameter(tokens[first:end]) for first, end in found):
            continue
        for (first, end), (second, stop) in zip(found, found[1:]):
            one, other = tokens[first:end], tokens[second:stop]
            if kind_of(one) == kind_of(other) and kind_of(one) != "nullptr":
                start, finish = tokens[first].start, tokens[stop - 1].end
                texts = [source[part[0].start : part[-1].end] for part in (one, other)]
                if texts[0] == texts[1]:
                    continue
                yield "swapped", start, finish, ", ".join(reversed(texts))


def kind_of(argument):
    """Whether the arguments are of different kinds, and so have different types."""
    text = argument[0].text
    if text in ("nullptr", "&") or argument[0].kind != "word":
        return text if text in ("nullptr", "&") else argument[0].kind
    if "c_str" in [token.text for token in argument]:
        return "c_str"
    return "constant" if text.isupper() else "word"


def split(tokens, index, end, closing):
    """The (first, end) indexes of the parts of tokens[index:end] between commas."""
    found, first = [], index
    while index < end:
        if tokens[index].text == ",":
            found.append((first, index))
            first = index + 1
        index = closing.get(index, index) + 1
    if first < end:
        found.append((first, end))
    return found


def is_parameter(tokens):
    """Whether an argument is the declaration of a parameter: a type and a name."""
    for one, other in zip(tokens, tokens[1:]):
        if one.kind == other.kind == "word" and one.text not in ("sizeof", "new"):
            return True
        if one.text in ("&", "*") and other.kind == "word" and len(tokens) > 2:
            return other.start > one.end and one.start == tokens[0].end
    return False


def mutants(file, source):
    """All mutants of a file, in the order of their positions."""
    tokens = tokens_of(source)
    closing = partners(tokens)
    fixed = static_assertions(tokens, closing)
    fixed_places = {tokens[index].start for index in fixed}
    changes = [
        *constants(tokens, source),
        *operators(tokens, source),
        *conditions(tokens, source, closing),
        *flags(tokens),
        *left_out(tokens, source, closing),
        *arguments(tokens, source, closing),
    ]
    made, counts = [], {}
    for rule, start, end, text in sorted(set(changes), key=lambda one: (one[1], one[0], one[3])):
        if start in fixed_places or (rule == "text" and inside(tokens, fixed, start)):
            continue
        line = source.count("\n", 0, start) + 1
        column = start - source.rfind("\n", 0, start)
        source_line = source.split("\n")[line - 1].strip()
        number = counts[source_line, rule] = counts.get((source_line, rule), 0) + 1
        key = rule if number == 1 else f"{rule}#{number}"
        made.append(Mutant(file, line, column, rule, start, end, text, key, source_line))
    return made


def inside(tokens, indexes, place):
    return any(tokens[index].start < place < tokens[index].end for index in indexes)
