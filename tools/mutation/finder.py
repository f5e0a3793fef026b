"""Finds every small change that could be made in the service's sources.

A change need not build: what the compiler refuses, or what it makes the same code of, is
sorted out when it is tried.
"""

from __future__ import annotations

import json
import re
import shlex
from collections.abc import Iterator
from pathlib import Path

from clang.cindex import Cursor, CursorKind, Index, Token, TokenKind, TranslationUnit

from .change import Change

FOLDERS = ("auth", "hw", "inventory", "log", "main", "service", "update", "watchers")

# What may stand instead of an operator: the opposite, and the neighbour at the boundary.
OPERATORS = {
    "==": ["!="],
    "!=": ["=="],
    "<": [">=", "<="],
    ">=": ["<", ">"],
    ">": ["<=", ">="],
    "<=": [">", "<"],
    "&&": ["||"],
    "||": ["&&"],
    "+": ["-"],
    "-": ["+"],
    "*": ["/"],
    "/": ["*"],
    "%": ["*"],
    "&": ["|"],
    "|": ["&"],
    "^": ["&"],
    "<<": [">>"],
    ">>": ["<<"],
    "+=": ["-="],
    "-=": ["+="],
    "|=": ["&="],
    "&=": ["|="],
}
COMPARISONS = ("==", "!=", "<", ">=", ">", "<=")
LOG_CALLS = {"logRecord": "logTrace", "logTrace": "logRecord"}
TRUTHS = {"true": "false", "false": "true"}
NUMBER = re.compile(r"(0[xX][0-9a-fA-F]+|\d+)([a-zA-Z]*)")

BRANCHES = (
    CursorKind.IF_STMT,
    CursorKind.FOR_STMT,
    CursorKind.WHILE_STMT,
    CursorKind.CXX_FOR_RANGE_STMT,
)
ENDS = (CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT)


def find_changes(tree: Path, build: Path) -> list[Change]:
    """All changes in the service below `tree`, in the order of files and places."""
    database = json.loads((build / "compile_commands.json").read_text())
    found: dict[Change, None] = {}
    for entry in sorted(database, key=lambda entry: str(entry["file"])):
        source = (build / entry["file"]).resolve()
        if source.is_relative_to(tree) and source.relative_to(tree).parts[0] in FOLDERS:
            for file in _Unit(tree, build, source, entry["command"]).files():
                found |= dict.fromkeys(file.changes())
    return sorted(
        found, key=lambda change: (change.file, change.start, change.end, change.after)
    )


class _Unit:
    """One source as the compiler sees it, with the service's headers that it includes."""

    def __init__(self, tree: Path, build: Path, source: Path, command: str) -> None:
        words = shlex.split(command)
        arguments = [word for word in words[1 : words.index("-o")] if word != "-MD"]
        arguments += [f"-working-directory={build}"]
        self._tree = tree
        self._unit = Index.create().parse(str(source), args=arguments)
        errors = [str(note) for note in self._unit.diagnostics if note.severity >= 3]
        if errors:
            raise RuntimeError(f"{source}: {errors[0]}")

    def files(self) -> Iterator[_File]:
        included = {Path(str(part.include)) for part in self._unit.get_includes()}
        for path in {Path(self._unit.spelling), *included}:
            absolute = path.resolve()
            if absolute.is_relative_to(self._tree):
                name = absolute.relative_to(self._tree)
                if name.parts[0] in FOLDERS:
                    yield _File(self._unit, path, str(name))


class _File:
    """One file of a unit."""

    def __init__(self, unit: TranslationUnit, path: Path, name: str) -> None:
        self._unit = unit
        self._path = path
        self._name = name
        self._text = path.read_bytes()

    def changes(self) -> Iterator[Change]:
        yield from self._of_tokens()
        for cursor in self._unit.cursor.get_children():
            if self._is_mine(cursor):
                yield from self._of_tree(cursor)

    # -- words: constants, texts, log calls --------------------------------------------

    def _of_tokens(self) -> Iterator[Change]:
        whole = self._unit.get_extent(str(self._path), (0, len(self._text)))
        directive = 0
        for token in self._unit.get_tokens(extent=whole):
            if token.spelling == "#":
                directive = token.location.line
            if token.location.line != directive:
                yield from self._of_token(token)

    def _of_token(self, token: Token) -> Iterator[Change]:
        word = token.spelling
        start, end = token.extent.start.offset, token.extent.end.offset
        if token.kind == TokenKind.LITERAL and word.startswith('"'):
            yield self._change("text", start, end, f'"x{word[1:]}')
        elif token.kind == TokenKind.LITERAL and (number := NUMBER.fullmatch(word)):
            yield self._change("constant", start, end, _next_number(*number.groups()))
        elif word in TRUTHS:
            yield self._change("constant", start, end, TRUTHS[word])
        elif word in LOG_CALLS:
            yield self._change("log call", start, end, LOG_CALLS[word])

    # -- expressions and statements ----------------------------------------------------

    def _of_tree(self, cursor: Cursor) -> Iterator[Change]:
        children = [child for child in cursor.get_children() if self._is_mine(child)]
        if cursor.kind == CursorKind.COMPOUND_STMT:
            yield from self._of_statements(children)
        elif cursor.kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT):
            yield from self._of_condition(children)
        elif cursor.kind == CursorKind.CONDITIONAL_OPERATOR:
            yield from self._negated(children[0])
        elif cursor.kind in (
            CursorKind.BINARY_OPERATOR,
            CursorKind.COMPOUND_ASSIGNMENT_OPERATOR,
            CursorKind.CALL_EXPR,
        ):
            yield from self._of_operator(children)
        for child in children:
            yield from self._of_tree(child)

    def _of_operator(self, children: list[Cursor]) -> Iterator[Change]:
        operator, start, end = self._operator(children)
        for other in OPERATORS.get(operator, []):
            yield self._change("operator", start, end, other)

    def _operator(self, children: list[Cursor]) -> tuple[str, int, int]:
        """What stands between two operands, and where; empty for anything else."""
        # Of a class's own operator, the operator itself is the child in the middle.
        if len(children) not in (2, 3):
            return "", 0, 0
        start, end = children[0].extent.end.offset, children[-1].extent.start.offset
        between = self._text[start:end]
        start += len(between) - len(between.lstrip())
        end -= len(between) - len(between.rstrip())
        return between.strip().decode(), start, end

    def _of_condition(self, children: list[Cursor]) -> Iterator[Change]:
        conditions = [child for child in children if child.kind.is_expression()]
        if conditions and not any(child.kind.is_declaration() for child in children):
            yield from self._negated(conditions[0])

    def _negated(self, condition: Cursor) -> Iterator[Change]:
        start, end = condition.extent.start.offset, condition.extent.end.offset
        code = self._code(start, end)
        if code.startswith("!") and condition.kind == CursorKind.UNARY_OPERATOR:
            yield self._change("condition", start, end, code[1:])
        elif self._operator(list(condition.get_children()))[0] not in COMPARISONS:
            yield self._change("condition", start, end, f"!({code})")

    def _of_statements(self, statements: list[Cursor]) -> Iterator[Change]:
        places = [self._place(statement) for statement in statements]
        movable = [_is_movable(statement) for statement in statements]
        for statement, (start, end), moves in zip(statements, places, movable):
            if moves or statement.kind in ENDS:
                yield self._change("removed statement", start, end, ";")
        for index in range(len(statements) - 1):
            if movable[index] and movable[index + 1]:
                (start, middle), (next_start, end) = places[index], places[index + 1]
                first, second = self._code(start, middle), self._code(next_start, end)
                between = self._code(middle, next_start)
                yield self._change("swapped statements", start, end, second + between + first)

    # -- helpers -----------------------------------------------------------------------

    def _place(self, statement: Cursor) -> tuple[int, int]:
        """From the first byte of a statement behind its semicolon."""
        start, end = statement.extent.start.offset, statement.extent.end.offset
        rest = self._text[end:]
        spaces = len(rest) - len(rest.lstrip())
        ends_with_brace = self._text[end - 1 : end] == b"}"
        if rest[spaces : spaces + 1] == b";" and not (ends_with_brace and spaces):
            end += spaces + 1
        return start, end

    def _code(self, start: int, end: int) -> str:
        return self._text[start:end].decode()

    def _is_mine(self, cursor: Cursor) -> bool:
        file = cursor.extent.start.file
        return file is not None and file.name == str(self._path)

    def _change(self, kind: str, start: int, end: int, after: str) -> Change:
        line = self._text.count(b"\n", 0, start) + 1
        first = self._text.rfind(b"\n", 0, start) + 1
        column = start - first + 1
        code = self._text[first:].split(b"\n", 1)[0].decode().strip()
        before = self._code(start, end)
        return Change(self._name, line, column, code, kind, start, end, before, after)


def _is_movable(statement: Cursor) -> bool:
    """Whether a block can do without it: neither a declaration nor a way out with a value."""
    if statement.kind == CursorKind.RETURN_STMT:
        return not list(statement.get_children())
    return statement.kind.is_expression() or statement.kind in BRANCHES


def _next_number(digits: str, suffix: str) -> str:
    if digits.lower().startswith("0x"):
        return f"0x{int(digits, 16) + 1:x}{suffix}"
    return f"{int(digits) + 1}{suffix}"
