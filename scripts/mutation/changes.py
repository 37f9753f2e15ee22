"""Finds the changes that can be made to a source, one at a time: reads it with libclang and looks at each expression and
statement that its author wrote there (what macros expand to is not his)."""

import bisect
import dataclasses
import re

from clang import cindex
from clang.cindex import CursorKind as Kind
from clang.cindex import TypeKind

COMPARISONS = {"<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="]}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "&", "<<": ">>", ">>": "<<"}
ASSIGNMENTS = {"+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "%=": "*=", "&=": "|=", "|=": "&=", "^=": "&=",
               "<<=": ">>=", ">>=": "<<="}
SCALARS = {TypeKind.BOOL, TypeKind.CHAR_U, TypeKind.UCHAR, TypeKind.CHAR16, TypeKind.CHAR32, TypeKind.USHORT,
           TypeKind.UINT, TypeKind.ULONG, TypeKind.ULONGLONG, TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.WCHAR,
           TypeKind.SHORT, TypeKind.INT, TypeKind.LONG, TypeKind.LONGLONG, TypeKind.FLOAT, TypeKind.DOUBLE,
           TypeKind.POINTER, TypeKind.ENUM}
FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE}
LITERALS = {Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL, Kind.CHARACTER_LITERAL, Kind.STRING_LITERAL,
            Kind.CXX_BOOL_LITERAL_EXPR}
BLOCKS = {Kind.COMPOUND_STMT, Kind.CASE_STMT, Kind.DEFAULT_STMT, Kind.LABEL_STMT}
STRING = re.compile(r'(u8|u|U|L)?"(?:[^"\\\n]|\\.)*"(?:\s*"(?:[^"\\\n]|\\.)*")*')


@dataclasses.dataclass
class Mutant:
    """One change: `text` in place of what stands from `start` to `end`."""

    path: str  # of the source, from the root of the project
    start: int
    end: int
    text: str
    form: str  # how a switch is built around it: "value", "zero", "condition", "declared NAME", "discard", "jump"
    function: str  # the one that it stands in
    constant: bool  # maybe computed by the compiler alone, where no switch can be thrown
    line: int = 0
    before: str = ""
    after: str = ""
    number: int = 0

    @property
    def key(self):
        return f"{self.path}\n{self.function}\n{self.before}\n{self.after}\n{self.start}"


class Source:
    """A source's text. Offsets count bytes, as libclang's do: the text is read as Latin-1, one character a byte."""

    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.line_starts = [0] + [match.end() for match in re.finditer("\n", text)]

    def line(self, offset):
        return bisect.bisect_right(self.line_starts, offset)

    def describe(self, mutant):
        """Says the change by the lines around it, without their layout."""
        first = self.line_starts[self.line(mutant.start) - 1]
        last = self.text.find("\n", mutant.end)
        last = len(self.text) if last < 0 else last
        mutant.line = self.line(mutant.start)
        head, tail = self.text[first:mutant.start], self.text[mutant.end:last]
        mutant.before = shorten(head + self.text[mutant.start:mutant.end] + tail)
        mutant.after = shorten(head + mutant.text + tail)


def shorten(text):
    lines = text.split("\n")
    if len(lines) > 3:
        lines = [lines[0], "...", lines[-1]]
    return " ".join(without_comments("\n".join(lines)).split()).encode("latin-1").decode("utf-8", "replace")


def without_comments(text):
    """The text in one line, where it can be, and without comments."""
    pieces = re.findall(r'R"(?:\([^)]*\)|.*?)"|"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)+\'|//[^\n]*|/\*.*?\*/|\s+|.', text,
                        re.DOTALL)
    return "".join(" " if piece.isspace() or piece.startswith(("//", "/*")) else piece for piece in pieces)


class Finder:
    """Walks over one source's cursors and gathers its mutants."""

    def __init__(self, source, unit, main):
        self.source = source
        self.text = source.text
        self.main = main
        self.mutants = []
        self.seen = set()
        self.macros = sorted(
            (cursor.extent.start.offset, cursor.extent.end.offset, cursor.spelling)
            for cursor in unit.cursor.get_children()
            if cursor.kind == Kind.MACRO_INSTANTIATION and self.here(cursor))
        for cursor in unit.cursor.get_children():
            if not cursor.kind.is_preprocessing() and self.here(cursor):
                self.visit(cursor, None, Place())
        self.constant_strings()
        for mutant in self.mutants:
            source.describe(mutant)
        self.mutants = [mutant for mutant in self.mutants if mutant.before != mutant.after]
        self.mutants.sort(key=lambda mutant: (mutant.start, -mutant.end))

    def here(self, cursor):
        return cursor.location.file is not None and cursor.location.file.name == self.main

    # ---- What may be changed

    def written(self, start, end, whole=False):
        """Whether the text from start to end is the author's own, not a part of a macro's; `whole`: or all of one's."""
        for first, last, _ in self.macros:
            if first <= start and end <= last and not (whole and (first, last) == (start, end)):
                return False
            if first < start < last < end or start < first < end < last:
                return False
        return start < end and "\n#" not in self.text[start:end]

    def add(self, cursor, text, place, form="value", whole=False):
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        if self.written(start, end, whole) and (start, end, text, form) not in self.seen:
            self.seen.add((start, end, text, form))
            self.mutants.append(Mutant(self.source.path, start, end, text, form, place.function, place.constant))

    def constant_strings(self):
        for start, end, name in self.macros:
            match = re.fullmatch(r'(CFSTR\s*\(\s*)(".*")(\s*\))', self.text[start:end], re.DOTALL)
            if name == "CFSTR" and match:
                text = match[1] + ('"kx"' if match[2] == '""' else '""') + match[3]
                self.mutants.append(Mutant(self.source.path, start, end, text, "value", "", True))

    # ---- The walk

    def visit(self, cursor, parent, place):
        kind = cursor.kind
        if kind == Kind.STATIC_ASSERT:
            return
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        place = place.inside(cursor, self.text[start:end])
        children = list(cursor.get_children())
        own = self.text[start:end]

        if kind == Kind.BINARY_OPERATOR and len(children) == 2:
            self.binary(cursor, children, place)
        elif kind == Kind.COMPOUND_ASSIGNMENT_OPERATOR and len(children) == 2:
            operator, replace = self.between(*children)
            if operator in ASSIGNMENTS:
                self.add(cursor, replace(ASSIGNMENTS[operator]), place)
        elif kind == Kind.UNARY_OPERATOR:
            self.unary(cursor, own, place)
        elif kind == Kind.CALL_EXPR:
            self.call(cursor, children, own, place)
        elif kind in LITERALS:
            self.literal(cursor, own, place)
        elif kind == Kind.CONDITIONAL_OPERATOR and len(children) == 3:
            self.condition(children[0], place, [True, False])
        elif kind == Kind.IF_STMT:
            variable = children[0].kind == Kind.VAR_DECL
            if variable:
                self.declared_condition(children[0], place)
            if not re.match(r"if\s+constexpr\b", own):
                self.condition(children[1 if variable else 0], place, [] if variable else [True, False])
            for child in children[2 if variable else 1:]:
                self.statement(child, place, last=True)
        elif kind == Kind.WHILE_STMT:
            variable = children[0].kind == Kind.VAR_DECL
            self.condition(children[1 if variable else 0], place, [] if variable else [False])
            self.statement(children[-1], place)
        elif kind == Kind.DO_STMT:
            self.statement(children[0], place)
            self.condition(children[1], place, [False])
        elif kind == Kind.FOR_STMT:
            self.statement(children[-1], place)
            first, second = self.semicolons(start)
            for child in children[:-1]:
                if first < child.extent.start.offset < second and child.kind != Kind.VAR_DECL:
                    self.condition(child, place, [False])
        elif kind == Kind.CXX_FOR_RANGE_STMT:
            self.statement(children[-1], place)
        elif kind in BLOCKS:
            for child in children[1:] if kind == Kind.CASE_STMT else children:
                self.statement(child, place, last=child == children[-1])
        elif kind == Kind.INIT_LIST_EXPR:
            for child in children:
                if child.kind.is_expression() and child.kind not in LITERALS and scalar(child):
                    self.zero(child, place)

        for child in children:
            self.visit(child, cursor, place.at_child(cursor, child))

    def binary(self, cursor, children, place):
        operator, replace = self.between(*children)
        if operator in COMPARISONS:
            # Of a whole condition `==` and `!=` are no more than what is always and what is never so.
            if not (place.whole and operator in ("==", "!=")):
                for other in COMPARISONS[operator]:
                    self.add(cursor, replace(other), place)
        elif operator in ARITHMETIC:
            self.add(cursor, replace(ARITHMETIC[operator]), place)
        elif operator in ("&&", "||"):
            for child in children:
                self.add(cursor, self.words(child), place, "condition")

    def unary(self, cursor, own, place):
        if own.startswith(("++", "--")):
            self.add(cursor, swapped(own[:2]) + without_comments(own[2:]), place)
        elif own.endswith(("++", "--")):
            self.add(cursor, without_comments(own[:-2]) + swapped(own[-2:]), place)
        elif own.startswith(("-", "!", "~")):
            self.add(cursor, without_comments(own[1:]), place, "condition" if own.startswith("!") else "value")

    def call(self, cursor, children, own, place):
        if cursor.spelling.startswith("operator") and not cursor.spelling[8:9].isalnum():
            operands = [child for child in children if not child.spelling == cursor.spelling or child.kind == Kind.CALL_EXPR]
            if len(operands) == 2:
                operator, replace = self.between(*operands)
                for other in COMPARISONS.get(operator, []):
                    self.add(cursor, replace(other), place)
            elif own.startswith(("++", "--")) or own.endswith(("++", "--")):
                self.unary(cursor, own, place)
            return
        function = cursor.referenced
        if scalar(cursor) and not place.whole and function is not None and \
                function.result_type.kind not in (TypeKind.LVALUEREFERENCE, TypeKind.RVALUEREFERENCE):
            self.zero(cursor, place)

    def zero(self, cursor, place):
        kind = cursor.type.get_canonical().kind
        text = "nullptr" if kind == TypeKind.POINTER else "false" if kind == TypeKind.BOOL else "0"
        self.add(cursor, text, place, "zero", whole=True)

    def literal(self, cursor, own, place):
        place = place.copy(constant=True)  # it may be a template's argument
        if cursor.kind == Kind.INTEGER_LITERAL and re.fullmatch(r"[0-9][0-9a-fA-FxXbBuUlLzZ']*", own):
            self.add(cursor, f"({own} + 1)", place)
            if re.sub(r"[uUlLzZ']", "", own) not in ("0", "00", "0x0"):
                self.add(cursor, f"({own} - 1)", place)
        elif cursor.kind == Kind.FLOATING_LITERAL and re.fullmatch(r"[0-9.eEfF+-]+", own):
            self.add(cursor, f"({own} + 1)", place)
        elif cursor.kind == Kind.CHARACTER_LITERAL and own.endswith("'"):
            self.add(cursor, f"static_cast<decltype({own})>({own} + 1)", place)
        elif cursor.kind == Kind.CXX_BOOL_LITERAL_EXPR and own in ("true", "false"):
            self.add(cursor, "false" if own == "true" else "true", place)
        elif cursor.kind == Kind.STRING_LITERAL and STRING.fullmatch(own):
            prefix = STRING.fullmatch(own)[1] or ""
            self.add(cursor, prefix + ('"kx"' if own == prefix + '""' else '""'), place)

    def condition(self, cursor, place, values):
        if cursor.kind not in LITERALS:
            for value in values:
                self.add(cursor, "true" if value else "false", place, "condition", whole=True)
        place.wholes.add((cursor.extent.start.offset, cursor.extent.end.offset))

    def declared_condition(self, variable, place):
        """Of `if (T variable = ...)`: the condition follows the declaration, with a semicolon between."""
        end = variable.extent.end.offset
        if self.written(variable.extent.start.offset, end):
            for value in ("true", "false"):
                self.mutants.append(Mutant(self.source.path, end, end, "; " + value, f"declared {variable.spelling}",
                                           place.function, place.constant))

    def statement(self, cursor, place, last=False):
        own = self.text[cursor.extent.start.offset:cursor.extent.end.offset]
        if cursor.kind in (Kind.BREAK_STMT, Kind.CONTINUE_STMT):
            self.add(cursor, "", place, "jump")
        elif cursor.kind == Kind.RETURN_STMT:
            # Without its last return a function that gives a value would give anything at all.
            if not list(cursor.get_children()) or not (last and place.last):
                self.add(cursor, "", place, "jump")
        elif cursor.kind.is_expression() and not re.match(r"\(\s*void\s*\)|static_cast<void>", own):
            self.add(cursor, "", place, "discard", whole=True)
            place.wholes.add((cursor.extent.start.offset, cursor.extent.end.offset))

    # ---- The text

    def words(self, cursor):
        return without_comments(self.text[cursor.extent.start.offset:cursor.extent.end.offset])

    def between(self, left, right):
        """The operator between two operands, and what gives the expression with another one."""
        if left.extent.start.offset > right.extent.start.offset:
            left, right = right, left
        operator = without_comments(self.text[left.extent.end.offset:right.extent.start.offset]).strip()
        return operator, lambda other: f"{self.words(left)} {other} {self.words(right)}"

    def semicolons(self, start):
        depth, found = 0, []
        for match in re.finditer(r'"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)+\'|//[^\n]*|/\*.*?\*/|[(){};]', self.text[start:],
                                 re.DOTALL):
            depth += (match[0] in "({") - (match[0] in ")}")
            if match[0] == ";" and depth == 1:
                found.append(start + match.start())
                if len(found) == 2:
                    return found
        return 0, 0


def scalar(cursor):
    return cursor.type.get_canonical().kind in SCALARS


def swapped(operator):
    return "--" if operator == "++" else "++"


class Place:
    """What is around a cursor."""

    def __init__(self):
        self.function = ""
        self.constant = False
        self.local = False
        self.last = False  # at the end of its function
        self.whole = False  # already changed as a whole: a condition or a statement
        self.wholes = set()
        self.compiled = False  # an `if constexpr`

    def copy(self, **changes):
        place = Place()
        place.__dict__.update(self.__dict__, **changes)
        return place

    def inside(self, cursor, own):
        place = self.copy(whole=(cursor.extent.start.offset, cursor.extent.end.offset) in self.wholes,
                          compiled=cursor.kind == Kind.IF_STMT and re.match(r"if\s+constexpr\b", own) is not None)
        if cursor.kind in FUNCTIONS:
            head = own.split("{", 1)[0]
            place = place.copy(function=cursor.spelling, local=True, last=True,
                               constant=re.search(r"\bconst(expr|eval)\b", head) is not None and "constexpr" in head,
                               wholes=set())
        elif cursor.kind == Kind.LAMBDA_EXPR:
            place = place.copy(last=True, local=True)
        elif cursor.kind == Kind.VAR_DECL:
            place = place.copy(constant=self.constant or not self.local or cursor.type.is_const_qualified() or
                               re.match(r"(inline\s+)?(static|constexpr|constinit|thread_local)\b", own) is not None)
        elif cursor.kind in (Kind.ENUM_DECL, Kind.TYPE_ALIAS_DECL, Kind.TYPE_ALIAS_TEMPLATE_DECL, Kind.TYPEDEF_DECL):
            place = place.copy(constant=True)
        return place

    def at_child(self, cursor, child):
        constant = self.constant
        if cursor.kind == Kind.FIELD_DECL or cursor.kind in (Kind.VAR_DECL, Kind.PARM_DECL, Kind.CASE_STMT) and \
                (child.kind in LITERALS or cursor.type.kind == TypeKind.CONSTANTARRAY):
            constant = True  # an extent, a width, a label, what a constant may be made of
        if not self.function or child.extent.end.offset <= cursor.location.offset and cursor.kind == Kind.VAR_DECL:
            constant = True
        if self.compiled and child == next(cursor.get_children()):
            constant = True
        last = self.last
        if cursor.kind in (Kind.COMPOUND_STMT, *FUNCTIONS) and child != list(cursor.get_children())[-1]:
            last = False
        return self.copy(constant=constant, last=last)


def find(source, main, arguments):
    """The mutants of the source at the path `main`, compiled with the arguments."""
    unit = cindex.Index.create().parse(
        main, ["-x", "c++", *arguments], options=cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
    errors = [str(error) for error in unit.diagnostics if error.severity >= cindex.Diagnostic.Error]
    if errors:
        raise SystemExit("libclang cannot read a source:\n" + "\n".join(errors[:10]))
    return Finder(source, unit, main).mutants
