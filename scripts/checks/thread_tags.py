#!/usr/bin/env python3
"""Fails on a public operation without a thread tag of the closed list: [main] [any] [render] [blocks] [queue: label].

Checked are the functions, constructors and destructors of KXFW/Audio/*.h, and the marked ones (KX_EXPORT, or members
of a marked class) of every platform header that KXFW/KXFW.h reaches. Defaulted and deleted functions have none to give.

A tag stands in the doc comment above a declaration or in its trailing comment. A declaration without a comment above
it belongs to the run before it (no blank line, no access label between) and takes over the tag of the comment that
opens the run; a comment of its own starts a new run.
Usage: thread_tags.py [ROOT | --self-test]
"""
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from cxxheader import TAG, Header
from public_headers import public_headers

_ANY_TAG = re.compile(r'(?<![\w\[])\[([a-z]+(?:: [^\]]*)?)\](?!\()')


def untagged(text, only_exported):
    """The (line, name) pairs of the operations of one header that lack a tag, and of wrong tags."""
    faults = []
    run_tagged, previous_end = False, -1
    for d in Header(text).declarations:
        if d.kind == 'class':
            continue
        leading_tag = any(TAG.search(line) for line in d.leading)
        if d.leading:
            run_tagged = leading_tag
        elif d.first_line > previous_end + 1:
            run_tagged = False
        previous_end = d.last_line
        if d.kind != 'function' or d.access != 'public' or d.is_trivial or (only_exported and not d.exported):
            continue
        comments = d.leading + [c for c in d.trailing if c.startswith('///')]
        for word in (w for c in comments for w in _ANY_TAG.findall(c)):
            if not TAG.fullmatch(f'[{word}]'):
                faults.append((d.first_line, f'{d.qualified}: [{word}] is not a thread tag'))
        if not run_tagged and not any(TAG.search(c) for c in comments):
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
private:
    void hidden();
};
KX_EXPORT int loose(const int (&array)[3]);
int unmarked();
}
"""
    wanted = ['bare', 'third', 'wrong', 'wrong', 'fourth', 'loose']
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
