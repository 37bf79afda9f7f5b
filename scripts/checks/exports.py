#!/usr/bin/env python3
"""Fails when a symbol that libKXFW exports is not marked in a header, has no version, or has a name that others may have.

Reads `nm -DC --defined-only` of the library on standard input. A symbol is marked when a header declares it, or a
class around it, with KX_EXPORT; its version follows it. Plain names, those of C linkage, are prefixed: KX_SYMBOL gives
a function or variable the prefix kx_. Usage: nm -DC --defined-only LIBRARY | exports.py [ROOT | --self-test]
"""
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from cxxheader import Header

_PREFIXES = re.compile(r'(vtable|typeinfo|typeinfo name|VTT|construction vtable|guard variable|non-virtual thunk|'
                       r'virtual thunk|covariant return thunk)( for| to)? ')


def marked_names(headers):
    """The classes and the other names that `headers` (their texts) mark as exported."""
    classes, names = set(), set()
    for text in headers:
        for d in Header(text).declarations:
            if d.kind == 'class' and d.exported:
                classes.add(d.qualified)
            elif d.exported and not d.in_class:
                names.add(d.qualified)
    return classes, names


def plain_name(symbol):
    """`symbol` as nm writes it, without what stands before and after the qualified name."""
    symbol = _PREFIXES.sub('', symbol)
    symbol = re.sub(r'\[abi:\w+\]', '', symbol)
    depth, start = 0, 0
    for i, c in enumerate(symbol):
        if c == '(' and depth == 0:
            return symbol[start:i] if not symbol[start:i].endswith('operator') else symbol[start:i + 2]
        depth += (c in '<(') - (c in '>)')
        if c == ' ' and depth == 0 and not symbol[start:i].endswith('operator'):
            start = i + 1
    return symbol[start:]


def unmarked(symbols, classes, names):
    for symbol in symbols:
        name = plain_name(symbol)
        scopes = name.split('::')
        inside = any('::'.join(scopes[:i]) in classes for i in range(1, len(scopes) + 1))
        if not inside and name not in names:
            yield symbol


def is_prefixed(symbol):
    """Whether a name without a scope is ours alone; what C++ mangles is."""
    return not re.fullmatch(r'\w+', symbol) or re.match(r'kx_|k?KX', symbol)


def faults(symbols, version, classes, names):
    """Of symbols as nm writes them, with their versions."""
    names = names | {f'kx_{name}' for name in names}
    bare = [symbol.split('@')[0] for symbol in symbols]
    yield from (f'exported but not marked: {s}' for s in unmarked(bare, classes, names))
    yield from (f'not prefixed: {s}' for s in bare if not is_prefixed(s))
    yield from (f'without the version {version}: {s}' for s in symbols if not s.endswith(f'@@{version}'))


def self_test():
    classes, names = marked_names(['namespace kx {\nclass KX_EXPORT A { public: void f(); struct S; };\n'
                                   'KX_EXPORT int g(std::string_view x);\nint h();\n}\n'
                                   'KX_EXPORT extern const char *const N;\nextern "C" {\nKX_EXPORT void c(void) KX_SYMBOL(c);\n}\n'])
    good = ['kx::A::f()', 'vtable for kx::A', 'kx::g(std::basic_string_view<char, std::char_traits<char> >)', 'N', 'c',
            'kx::A::S::run() const', 'bool kx::A::generic<int>(int)', 'typeinfo name for kx::A']
    bad = ['kx::h()', 'sf_open', 'std::vector<kx::A>::push_back(kx::A&&)', 'kx::AB::f()', 'vtable for kx::B']
    assert list(unmarked(good + bad, classes, names)) == bad, list(unmarked(good + bad, classes, names))
    exported = ['kx_c@@V_1', 'KXA::f() const@@V_1', 'kx::A::f()@@V_1']
    assert list(faults(exported, 'V_1', classes | {'KXA'}, names)) == []
    exported = ['c@@V_1', 'kx::A::f()']
    assert [f.split(':')[0] for f in faults(exported, 'V_1', classes, names)] == ['not prefixed', 'without the version V_1']


def main():
    if sys.argv[1:] == ['--self-test']:
        return self_test()
    root = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).resolve().parents[2])
    classes, names = marked_names(h.read_text() for folder in ('KXFW', 'kx') for h in sorted((root / folder).rglob('*.h')))
    symbols = [line.split(' ', 2)[2].strip() for line in sys.stdin if re.match(r'[0-9a-f]+ [A-Za-z] ', line)]
    version = re.search(r'^(\w+) \{', (root / 'cmake/exports.map').read_text(), re.M).group(1)
    found = list(faults([s for s in symbols if s.split('@')[0] != version], version, classes, names))
    for fault in found:
        print(fault, file=sys.stderr)
    if not symbols:
        print('the library exports nothing', file=sys.stderr)
    return bool(found) or not symbols


if __name__ == '__main__':
    sys.exit(main())
