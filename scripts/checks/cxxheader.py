"""A small reader of C++ headers: the declarations of a file with their scopes, access, marks and comments.

It knows as much C++ as public headers need: namespaces, classes, access sections, functions with and without bodies.
It does not preprocess; directives are skipped.
"""
import re
from dataclasses import dataclass, field

_TOKEN = re.compile(
    r'(?P<comment>//[^\n]*|/\*.*?\*/)'
    r'|(?P<raw>R"(?P<tag>[^(\s]*)\(.*?\)(?P=tag)")'
    r'|(?P<text>"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\')'
    r'|(?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)',
    re.S | re.M)
_BODY_WORDS = {'const', 'noexcept', 'override', 'final', 'mutable', 'try'}
_NO_FUNCTION = re.compile(r'\s*(using|typedef|static_assert|friend|enum|extern\s+template)\b')
_CALLS = re.compile(r'\b(alignas|decltype|explicit|requires|__attribute__)\s*\(')
TAG = re.compile(r'\[(main|any|render|blocks|queue: [^\]]+)\]')


@dataclass
class Comment:
    line: int
    text: str
    whole_line: bool


@dataclass
class Declaration:
    """One declaration: `head` is its text without comments, literals, template header and attributes."""
    head: str
    first_line: int
    last_line: int
    scope: tuple          # names of the namespaces and classes around it
    access: str           # 'public' at namespace scope
    exported: bool        # it, or a class around it, is marked
    in_class: bool
    kind: str             # 'function', 'class' or 'other'
    name: str = ''
    leading: list = field(default_factory=list)
    trailing: list = field(default_factory=list)
    access_line: int = 0  # of the access label it stands under

    @property
    def qualified(self):
        return '::'.join(self.scope + (self.name,))

    @property
    def is_trivial(self):
        return re.search(r'=\s*(default|delete)\s*$', self.head) is not None


def _matching(text, start, opening, closing):
    depth = 0
    for i in range(start, len(text)):
        if text[i] == opening:
            depth += 1
        elif text[i] == closing:
            depth -= 1
            if depth == 0:
                return i
    return len(text) - 1


def _without_calls(text):
    """Drops alignas(...), decltype(...) and their like, whose brackets are not a parameter list."""
    while found := _CALLS.search(text):
        text = text[:found.start()] + ' ' + text[_matching(text, found.end() - 1, '(', ')') + 1:]
    return text


def _bare(text):
    text = re.sub(r'\[\[.*?\]\]', ' ', text, flags=re.S).strip()
    while text.startswith('template'):
        open_at = text.find('<')
        if open_at < 0:
            break
        text = text[_matching(text.replace('->', '  '), open_at, '<', '>') + 1:].strip()
    return text


def function_name(head):
    """The name that `head` declares as a function, or None."""
    if _NO_FUNCTION.match(head):
        return None
    operator = re.search(r'\boperator\s*(\(\s*\)|[^\s(]+(?:\s*\w+)*)\s*\(', head)
    if operator:
        return 'operator' + operator.group(1).strip()
    text = _without_calls(head).replace('->', '  ')
    depth = 0
    for i, c in enumerate(text):
        if c == '<':
            depth += 1
        elif c == '>':
            depth = max(0, depth - 1)
        elif depth == 0 and c in '={':
            return None
        elif depth == 0 and c == '(':
            name = re.search(r'(~?\w+)\s*$', text[:i])
            return None if not name or re.match(r'\s*[*&]', text[i + 1:]) else name.group(1)
    return None


class Header:
    """The declarations of one header."""

    def __init__(self, text):
        self.comments = []
        self.declarations = []
        self._text = _TOKEN.sub(self._mask, text)
        self._line_of = [0]
        for c in self._text:
            self._line_of.append(self._line_of[-1] + (c == '\n'))
        self._access_line = 0
        self._collect_comments(text)
        self._scope(0, len(self._text), (), False, 'public', False)
        self._attach_comments()

    @staticmethod
    def _mask(found):
        keep = '"' if found.group('text') else ' '
        return ''.join('\n' if c == '\n' else keep for c in found.group(0))

    def _line(self, offset):
        return self._line_of[min(offset, len(self._line_of) - 1)] + 1

    def _collect_comments(self, text):
        for found in _TOKEN.finditer(text):
            if found.group('comment'):
                before = text[text.rfind('\n', 0, found.start()) + 1:found.start()]
                for i, part in enumerate(found.group('comment').split('\n')):
                    self.comments.append(Comment(self._line(found.start()) + i, part.strip(),
                                                 i > 0 or not before.strip()))

    def _scope(self, at, end, scope, exported, access, in_class):
        start = at
        outer_access_line, self._access_line = self._access_line, self._line(at)
        while at < end:
            c = self._text[at]
            if c == '(':
                at = _matching(self._text, at, '(', ')')
            elif c == ';':
                self._declare(start, at, scope, exported, access, in_class)
                start = at + 1
            elif c == '{':
                at, start = self._block(start, at, scope, exported, access, in_class)
            elif c == ':' and (label := self._text[start:at].strip()) in ('public', 'private', 'protected'):
                access, start = label, at + 1
                self._access_line = self._line(at)
            at += 1
        self._access_line = outer_access_line

    def _block(self, start, at, scope, exported, access, in_class):
        """Handles the braces at `at`; gives where they end and where the current declaration starts then."""
        close = _matching(self._text, at, '{', '}')
        head = _bare(self._text[start:at])
        if space := re.match(r'(?:inline\s+)?namespace\b\s*([\w:]*)', head):
            self._scope(at + 1, close, scope + tuple(filter(None, space.group(1).split('::'))), False, 'public', False)
            return close, close + 1
        if head.startswith('extern "'):
            self._scope(at + 1, close, scope, exported, access, in_class)
            return close, close + 1
        kind = re.match(r'(class|struct|union)\b\s*((?:KX_EXPORT\s+)?)(\w*)', head)
        if kind and function_name(head) is None:
            marked = exported or bool(kind.group(2))
            self._declare(start, at, scope, exported, access, in_class, kind.group(3), bool(kind.group(2)))
            inner = 'private' if access != 'public' else 'public' if kind.group(1) != 'class' else 'private'
            if access == 'public':
                self._scope(at + 1, close, scope + (kind.group(3),), marked, inner, True)
            return close, self._text.find(';', close) + 1 if self._text[close + 1:].lstrip().startswith(';') else close
        if function_name(head) and not self._is_initialiser(head):
            self._declare(start, at, scope, exported, access, in_class, end=close)
            return close, close + 1
        return close, start

    @staticmethod
    def _is_initialiser(head):
        last = re.search(r'(\w+)\s*$', head)
        return bool(re.search(r'\)\s*(noexcept\s*)?:[^:]', head) and last and last.group(1) not in _BODY_WORDS)

    def _declare(self, start, at, scope, exported, access, in_class, class_name=None, class_marked=False, end=None):
        raw = self._text[start:at]
        head = _bare(raw)
        if not head:
            return
        marked = 'KX_EXPORT' in head
        head = re.sub(r'\bKX_EXPORT\b\s*|\s*\bKX_SYMBOL\(\w+\)', '', head)
        name = class_name or function_name(head)
        kind = 'class' if class_name is not None else 'function' if name else 'other'
        if not name:
            variable = re.search(r'(\w+)\s*(\[[^\]]*\]\s*)?(=.*)?$', head, re.S)
            name = variable.group(1) if variable else ''
        first = start + len(raw) - len(raw.lstrip())
        self.declarations.append(Declaration(' '.join(head.split()), self._line(first), self._line(end or at), scope,
                                             access, exported or marked or class_marked, in_class, kind, name,
                                             access_line=self._access_line))

    def _attach_comments(self):
        whole = {c.line: c.text for c in self.comments if c.whole_line}
        inline = {}
        for c in self.comments:
            if not c.whole_line:
                inline.setdefault(c.line, []).append(c.text)
        for d in self.declarations:
            line = d.first_line - 1
            while line in whole and not whole[line].startswith('///<'):
                d.leading.insert(0, whole[line])
                line -= 1
            for line in range(d.first_line, d.last_line + 1):
                d.trailing += inline.get(line, []) + ([whole[line]] if line in whole else [])
            line = d.last_line + 1
            while line in whole and whole[line].startswith('///<'):
                d.trailing.append(whole[line])
                line += 1
