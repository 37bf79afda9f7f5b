#!/usr/bin/env python3
"""Fails on a public operation without a thread tag of the closed list: [main] [any] [render] [blocks] [queue: label].

Checked are the functions, constructors and destructors of the public headers (KXFW/KXFW.h and what it reaches): all of
those in KXFW/Audio, and the marked ones (KX_EXPORT, or members of a marked class) of the platform. Defaulted and
deleted functions and pure data have none to give.

Where a declaration gets its tag from, in this order:
  1. its own comment, above it or trailing;
  2. without a comment above it, the comment that opens its run of lines (no blank line, no access label between);
  3. the section comment: a plain `//` comment whose last word before the tags is All, as in
     `// The fields. All [any].` It reaches to the next plain comment line or access label.
Usage: thread_tags.py [ROOT | --self-test]
"""
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from cxxheader import TAG, Header
from public_headers import public_headers

_ANY_TAG = re.compile(r'(?<![\w\[])\[([a-z]+(?:: [^\]]*)?)\](?!\()')


class _Sections:
    """The plain comments of a header, and which of them tag what stands below."""

    def __init__(self, comments):
        self._blocks = []
        previous = -1
        for c in (c for c in comments if c.whole_line and re.match('//(?!/)', c.text)):
            if c.line == previous + 1:
                self._blocks[-1][1] += ' ' + c.text
            else:
                self._blocks.append([c.line, c.text])
            previous = c.line

    def tag(self, declaration):
        above = [b for b in self._blocks if declaration.access_line <= b[0] < declaration.first_line]
        return bool(above) and re.search(r'\bAll ' + TAG.pattern, above[-1][1]) is not None


def untagged(text, only_exported):
    """The (line, name) pairs of the operations of one header that lack a tag, and of wrong tags."""
    faults = []
    header = Header(text)
    sections = _Sections(header.comments)
    run_tagged, previous_end = False, -1
    for d in header.declarations:
        if d.kind == 'class':
            continue
        doc = [line for line in d.leading if line.startswith('///')]
        if doc:
            run_tagged = any(TAG.search(line) for line in doc)
        elif d.first_line > previous_end + 1:
            run_tagged = False
        previous_end = d.last_line
        if d.kind != 'function' or d.access != 'public' or d.is_trivial or (only_exported and not d.exported):
            continue
        comments = doc + [c for c in d.trailing if c.startswith('///')]
        for word in (w for c in comments for w in _ANY_TAG.findall(c)):
            if not TAG.fullmatch(f'[{word}]'):
                faults.append((d.first_line, f'{d.qualified}: [{word}] is not a thread tag'))
        if not run_tagged and not sections.tag(d) and not any(TAG.search(c) for c in comments):
            faults.append((d.first_line, f'{d.qualified}: no thread tag'))
    return faults


def self_test():
    text = """
namespace kx {
/// A class. [any]
class KX_EXPORT Thing : public Base {
public:
    Thing() = default;
    explicit Thing(int x) : x_{x} {} ///< [any]
    void bare();
    /// Tagged run. [main]
    void first();
    [[nodiscard]] int second(std::function<void(int)> f = {}) const noexcept { return f ? 1 : 2; }

    std::function<void()> third();
    void wrong(); ///< [ui]
    /// Own comment, no tag.
    void fourth();
    void fifth(); ///< [queue: Some.label] [blocks]
    R (*pointer)();
    static constexpr int value = call(3);

    // The fields. All [any] [render].
    /// A field.
    int field() const;

    void setField(int f);
    // Others.
    int other();
private:
    void hidden();
};
KX_EXPORT int loose(const int (&array)[3]);
int unmarked();
}
"""
    wanted = ['bare', 'third', 'wrong', 'wrong', 'fourth', 'other', 'loose']
    names = [fault.split(': ')[0].split('::')[-1] for _, fault in untagged(text, True)]
    assert names == wanted, names
    assert 'unmarked' in [f.split(': ')[0].split('::')[-1] for _, f in untagged(text, False)]


def main():
    if sys.argv[1:] == ['--self-test']:
        return self_test()
    root = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).resolve().parents[2])
    failed = False
    for header in public_headers(root):
        only_exported = header.parent != root / 'KXFW/Audio'
        for line, fault in untagged(header.read_text(), only_exported):
            failed = True
            print(f'{header.relative_to(root)}:{line}: {fault}', file=sys.stderr)
    return failed


if __name__ == '__main__':
    sys.exit(main())
