"""mutation_test.py SCRIPTS: which changes a source allows, and what is left alone."""

import pathlib
import random
import sys
import tempfile
import unittest

sys.path.insert(0, sys.argv[1])
sys.dont_write_bytecode = True
from mutation.changes import changeable, changes_of, draw_changes  # noqa: E402


def changed(body: str) -> list[str]:
    source = f"void f() {{ {body} }}"
    return [change.apply(source)[len("void f() { "):-len(" }")] for change in changes_of("f.cpp", source, random.Random(1))]


class Changes(unittest.TestCase):
    def test_each_kind(self):
        for before, after in (("a == b;", ["a != b;"]),
                              ("x = a && !b;", ["x = a || !b;", "x = a && b;"]),
                              ("if (a) {}", ["if (!(a)) {}"]),
                              ("x = 0x0fU;", ["x = 14U;"]),
                              ("m_A.b()->C(d);", [";"]),
                              ("static_cast<void>(g(a));", [";"]),
                              ("return a == b;", ["return !(a == b);", "return a != b;"]),
                              ("return g(a);", ["return {};"]),
                              ('x = "\\n\\x1f";', []),
                              ('x = "\\ny";', ['x = "\\nY";'])):
            with self.subTest(before=before):
                self.assertEqual(changed(before), after)

    def test_what_is_left_alone(self):
        for text in ("std::vector<T> a; // a == 1", "/* return g(a); */", "#if A == 1\n", "static_assert(a == 1);",
                     "[[nodiscard]] T a;", "bool operator==(const T& a);", 'extern "C" int a;', "T a(b);", "T&& a;",
                     'R"(1 == 2)";', "auto a = 1.5;", "virtual T a() = 0;"):
            with self.subTest(text=text):
                self.assertEqual(changes_of("f.cpp", text, random.Random(1)), [])

    def test_a_seed_draws_the_same_and_more_only_adds(self):
        with tempfile.TemporaryDirectory() as root:
            pathlib.Path(root, "a.cpp").write_text("void f() {" + 9 * 'if (a == 1) { g("text"); return h(b); }' + "}")
            few, many, others = (draw_changes(pathlib.Path(root), ["a.cpp"], seed, count)
                                 for seed, count in ((5, 6), (5, 20), (6, 6)))
        self.assertEqual(few, many[:6])
        self.assertEqual(len({change.kind for change in few}), 6)
        self.assertNotEqual(few, others)

    def test_the_sandbox_is_never_changed(self):
        with tempfile.TemporaryDirectory() as root:
            for name, text in (("host/sandbox/guard.cpp", ""), ("host/recorder/main.cpp", ""), ("tests/a.cpp", ""),
                               ("host/run.cpp", "return runInSandbox(options);"), ("host/rehearsal/verdict.cpp", "")):
                path = pathlib.Path(root, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text)
            self.assertEqual(changeable(pathlib.Path(root), ["host", "tests"]), ["host/rehearsal/verdict.cpp"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
