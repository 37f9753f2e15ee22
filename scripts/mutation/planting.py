"""Puts all mutants of a source into it at once, each behind a switch (Tests/MutantSwitch.h) that is thrown at run time."""

import dataclasses

from changes import without_comments

SWITCH = "kx_mutant"


class Node:
    """A part of the text that has mutants, and the parts within it that have."""

    def __init__(self, start, end):
        self.start = start
        self.end = end
        self.mutants = []
        self.children = []


@dataclasses.dataclass
class Planted:
    """A source with its mutants, and where in it each one stands."""

    text: str
    changes: list  # of (start, end, [mutant]): what a mutant brought in
    wholes: list  # of (start, end, [mutant]): also the text that was there before

    def blame(self, line, column):
        """The mutants that are the reason of an error at a place: its own, else those close around it, else its line's."""
        lines = self.text.split("\n")
        begin = sum(len(text) + 1 for text in lines[:line - 1])
        offset = begin + column - 1
        for places in (self.changes, self.wholes):
            around = [place for place in places if place[0] <= offset < place[1]]
            if around:
                return min(around, key=lambda place: place[1] - place[0])[2]
        on_line = [mutants for start, end, mutants in self.wholes if start <= begin + len(lines[line - 1]) and end > begin]
        return sum(on_line, [])


def plant(source, mutants):
    """The source with the mutants. Those whose text crosses another's are left out; they count as not planted."""
    root = Node(0, len(source.text) + 1)
    order = {"value": 0, "zero": 1, "condition": 2, "discard": 3}
    for mutant in sorted(mutants, key=lambda m: (m.start, -m.end, order.get(m.form, 4))):
        node = root
        while True:
            inner = node.children[-1] if node.children else None
            if inner is not None and mutant.start >= inner.start and mutant.end <= inner.end and \
                    not (mutant.start == inner.end and mutant.start == mutant.end):
                node = inner
                continue
            break
        if node is root or (node.start, node.end) != (mutant.start, mutant.end):
            if node.children and mutant.start < node.children[-1].end:
                continue
            child = Node(mutant.start, mutant.end)
            node.children.append(child)
            node = child
        node.mutants.append(mutant)
    writer = Writer(source.text)
    writer.write(root)
    return Planted("".join(writer.pieces), writer.changes, writer.wholes)


class Writer:
    def __init__(self, text):
        self.text = text
        self.pieces = []
        self.length = 0
        self.changes = []
        self.wholes = []

    def put(self, text):
        self.pieces.append(text)
        self.length += len(text)

    def choices(self, node, forms, form):
        """`kx_mutant(1) ? first : kx_mutant(2) ? second : `"""
        chosen = [mutant for mutant in node.mutants if mutant.form in forms]
        for mutant in chosen:
            start = self.length
            self.put(f"{SWITCH}({mutant.number}) ? {form(mutant)} : ")
            self.changes.append((start, self.length, [mutant]))
        return bool(chosen)

    def write(self, node):
        start = self.length
        own = without_comments(self.text[node.start:node.end])
        forms = {mutant.form for mutant in node.mutants}
        closing = ""
        end = node.end

        jump = next((mutant for mutant in node.mutants if mutant.form == "jump"), None)
        if jump:
            self.put(f"{{ if (!{SWITCH}({jump.number})) ")
            end = self.text.index(";", node.end) + 1
            closing = " }" + closing
        if "discard" in forms:
            self.put("(")
            self.choices(node, {"discard"}, lambda mutant: "void()")
            self.put("void(")
            closing = "))" + closing
        if "condition" in forms:
            self.put("(")
            self.choices(node, {"condition"}, lambda mutant: f"static_cast<bool>({mutant.text})")
            self.put("static_cast<bool>(")
            closing = "))" + closing
        if forms & {"value", "zero"}:
            self.put("(")
            self.choices(node, {"value", "zero"},
                         lambda mutant: f"decltype({own})()" if mutant.form == "zero" else f"({mutant.text})")
            self.put("(")
            closing = "))" + closing
        declared = {form for form in forms if form.startswith("declared ")}
        if declared:
            self.put("; (")
            self.choices(node, declared, lambda mutant: mutant.text[2:])
            closing = f"static_cast<bool>({declared.pop().split()[1]}))" + closing

        position = node.start
        for child in node.children:
            self.put(self.text[position:child.start])
            position = self.write(child)
        self.put(self.text[position:end])
        self.put(closing)
        if node.mutants:
            self.wholes.append((start, self.length, node.mutants))
        return max(end, position)
