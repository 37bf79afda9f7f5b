#!/usr/bin/env python3
"""Fails when the fields of a marked class (KX_EXPORT) show in an installed header, where they are a part of the ABI.

A class keeps its fields in a type that the header only names, behind one pointer (`const std::unique_ptr<Impl> impl_`).
Records, which have public fields only, and classes whose comment says "A value." are as they look for good.
Usage: hidden_state.py [ROOT | --self-test]
"""
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from cxxheader import Header
from public_headers import public_headers

_NO_FIELD = re.compile(r'(using|typedef|friend|static|enum|struct|class|constexpr|inline static)\b')
_POINTER = re.compile(r'(const )?std::(unique|shared)_ptr<(const )?(\w+::)*(\w+)> \w+')

_VALUE = re.compile(r'\bA (/// )?value[.;]')


def shown_state(text):
    """The (line, field) pairs of one header."""
    declarations = Header(text).declarations
    values = {d.qualified for d in declarations if d.kind == 'class' and _VALUE.search(' '.join(d.leading))}
    named = {d.name for d in declarations if re.fullmatch(r'(struct|class) \w+', d.head)}
    pointed = set()
    for d in declarations:
        if d.kind != 'other' or not (d.in_class and d.exported) or d.access == 'public' or _NO_FIELD.match(d.head):
            continue
        pointer = _POINTER.fullmatch(d.head)
        hidden = pointer and pointer.group(5) in named and d.scope not in pointed
        pointed.add(d.scope)
        if not hidden and '::'.join(d.scope) not in values:
            yield d.first_line, '::'.join((*d.scope, d.head))


def self_test():
    text = """
struct Point { double x; double y; };
/// A colour. A
/// value.
class KX_EXPORT Colour { public: int hue() const; private: int hue_ = 0; };
class Ring;
class Unmarked { int x_; };
class KX_EXPORT Bar : public View {
public:
    using Block = std::function<void()>;
    void run();
protected:
    bool shown_ = false;
private:
    friend class Host;
    struct Impl;
    static constexpr int kSide = 3;
    const std::unique_ptr<Impl> impl_;
    std::mutex lock_;
};
class KX_EXPORT Late { std::shared_ptr<Ring> ring_; std::unique_ptr<Ring> second_; };
class KX_EXPORT Known { std::shared_ptr<Bar> bar_; };
"""
    found = [field for _, field in shown_state(text)]
    assert found == ['Bar::bool shown_ = false', 'Bar::const std::unique_ptr<Impl> impl_', 'Bar::std::mutex lock_',
                     'Late::std::unique_ptr<Ring> second_', 'Known::std::shared_ptr<Bar> bar_'], found


def main():
    if sys.argv[1:] == ['--self-test']:
        return self_test()
    root = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).resolve().parents[2])
    failed = False
    for header in public_headers(root):
        for line, field in shown_state(header.read_text()):
            failed = True
            print(f'{header.relative_to(root)}:{line}: {field}: put it into an Impl', file=sys.stderr)
    return failed


if __name__ == '__main__':
    sys.exit(main())
