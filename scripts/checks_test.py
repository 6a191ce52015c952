# SPDX-License-Identifier: Apache-2.0
"""Holds the checking scripts against samples, so that a check that finds nothing means it."""

import importlib.machinery
import importlib.util
import pathlib
import sys
import tempfile
import unittest
import xml.etree.ElementTree

sys.dont_write_bytecode = True


def load(name):
    """The script scripts/NAME as a module."""
    path = pathlib.Path(__file__).with_name(name)
    loader = importlib.machinery.SourceFileLoader(name.replace("-", "_"), str(path))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


budgets = load("check-budgets")
docs = load("check-docs")
kept = load("kept-behaviours")
layers = load("check-layers")
licences = load("check-licences")
mutate = load("mutate")
tests_ran = load("check-tests-ran")


def measure(code):
    """{name: (lines, nesting)} of the functions in `code`."""
    return {function.name: (function.lines, function.nesting)
            for function in budgets.Scanner(code).scan()}


class TreeTest(unittest.TestCase):
    """With a folder to write a tree of files into."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, name, text):
        file = self.root / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")


class Functions(unittest.TestCase):
    def test_length_runs_from_signature_to_closing_brace(self):
        self.assertEqual(measure("int\nf(int a,\n  int b)\n{\n    return a;\n}\n"), {"f": (6, 0)})

    def test_members_and_inline_bodies_are_functions(self):
        code = """
            namespace a::b {
            class C final : public D<int> {
              public:
                explicit C(int x) : x_{x}, y_(0) {}
                ~C() override { stop(); }
                int size() const noexcept { return x_; }
                bool operator==(const C& other) const { return x_ == other.x_; }
                auto find() -> std::vector<int> { return {}; }
                template <typename T = int, class U = std::vector<T>>
                T convert(U from = {}) { return T(from); }
              private:
                int x_{1};
                int table_[2] = {1, 2};
            };
            }
            """
        self.assertEqual(set(measure(code)),
                         {"C", "~C", "size", "operator==", "find", "convert"})

    def test_constructor_with_braces_before_its_body(self):
        code = "A::A(int x)\n    : x_{x},\n      y_{f(x), {1}} {\n    if (x) {\n    }\n}\n"
        self.assertEqual(measure(code), {"A::A": (6, 1)})

    def test_tables_and_enumerations_are_no_functions(self):
        code = """
            enum class E : int { a, b };
            constexpr int size = max(1, 2);
            const std::array<int, 2> table = {f(1), f(2)};
            static const Row rows[] = {{"a", 1}, {"b", 2}};
            struct Plain { int x = f(3); std::string s{"{"}; };
            """
        self.assertEqual(measure(code), {})

    def test_text_that_looks_like_code_is_not_read(self):
        code = r"""
            void f() {
                use("if (x) { while (y) {", '{', '"', R"x({{{ ")" )x", u"\"{", 1'000'000);
                // } if (a) { if (b) {
                /* } */
            }
            #define TWICE(x) { \
                { x }
            void g() {}
            """
        self.assertEqual(measure(code), {"f": (5, 0), "g": (1, 0)})

    def test_functions_behind_a_macro_name_are_measured(self):
        self.assertEqual(measure("TEST_F(Suite, Case) {\n    f();\n}\n"), {"TEST_F": (3, 0)})


class Nesting(unittest.TestCase):
    def depth(self, body):
        return measure("void f() {" + body + "}")["f"][1]

    def test_control_structures_count_with_and_without_braces(self):
        self.assertEqual(self.depth("for (;;) { if (a) { b(); } }"), 2)
        self.assertEqual(self.depth("for (;;) if (a) while (b) c();"), 3)
        body = "do { try { a(); } catch (...) { if (b) c(); } } while (d);"
        self.assertEqual(self.depth(body), 3)

    def test_a_chain_of_else_if_is_one_level(self):
        self.assertEqual(self.depth("if (a) b(); else if (c) d(); else { e(); }"), 1)
        self.assertEqual(self.depth("if (a) { if (b) c(); } else if (d) { e(); } else f();"), 2)

    def test_plain_blocks_initializers_and_labels_are_no_levels(self):
        self.assertEqual(self.depth("{ { int a[] = {1, 2}; } } Row r{1, {2}};"), 0)
        self.assertEqual(self.depth("switch (a) { case 1: if (b) c(); break; default: d(); }"), 2)
        self.assertEqual(self.depth("x = a ? b : c; if (d) e();"), 1)

    def test_a_lambda_is_a_level(self):
        self.assertEqual(self.depth("run([&](int a) { if (a) { b(); } });"), 2)
        self.assertEqual(self.depth("auto g = [] { for (;;) if (a) b(); };"), 3)


class Budgets(TreeTest):
    def report(self):
        return budgets.Report(self.root)

    def test_a_function_at_the_limit_passes_and_one_line_more_does_not(self):
        for lines, excesses in ((60, 0), (61, 1)):
            self.write("inet/a.cpp", "void f() {\n" + "    g();\n" * (lines - 2) + "}\n")
            report = self.report()
            report.functions()
            self.assertEqual(len(report.excesses), excesses, report.excesses)

    def test_deep_nesting_is_found_and_tests_may_go_one_deeper(self):
        self.write("host/a.cpp", "void f() { if (a) if (b) if (c) if (d) e(); }\n")
        self.write("tests/a.cpp", "void f() { if (a) if (b) if (c) if (d) e(); }\n")
        report = self.report()
        report.functions()
        self.assertEqual(report.excesses, [
            "host/a.cpp:1: f nests 4 deep, at most 3 is allowed"])

    def test_a_tree_without_functions_is_no_success(self):
        report = self.report()
        report.functions()
        self.assertEqual(report.excesses, ["no function found"])

    def test_header_with_few_comments(self):
        self.write("host/a.h", "// SPDX-License-Identifier: Apache-2.0\n#pragma once\n\n"
                               "/// A.\nint a();\nint b(); // not a line of its own\nint c();\n")
        report = self.report()
        report.header_comments()
        self.assertEqual(report.excesses, [
            "host/a.h: 25% of its lines are comments, at least 30% are wanted"])

    def test_wide_line_is_counted_in_characters(self):
        self.write("tools/a.cpp", "// " + "ä" * 97 + "\n" + "// " + "b" * 98 + "\n")
        report = self.report()
        report.widths()
        self.assertEqual(report.excesses, ["tools/a.cpp:2: 101 columns, at most 100 are allowed"])

    def test_documents(self):
        self.write("README.md", "x\n" * 151)
        report = self.report()
        report.documents()
        self.assertEqual(len(report.excesses), 2)

    def test_too_few_tests(self):
        self.write("inet/a.cpp", "int a;\n" * 10)
        self.write("tests/a.cpp", "int a;\n" * 7)
        report = self.report()
        report.ratio_of_tests()
        self.assertEqual(len(report.excesses), 1)


class Layers(TreeTest):
    def test_downward_includes_pass(self):
        self.write("host/a.cpp", '#include "host/a.h"\n#include <vector>\n')
        self.write("inet/smtpclient.utf16.cpp", '#include "inet/smtpclient.utf16.h"\n'
                   '#include "inet/socketstream.utf16.h"\n#include "host/host.h"\n')
        self.write("tools/vtmail/a.cpp", '#include "sandbox/a.h"\n#include "inet/api.h"\n')
        self.assertEqual(layers.complaints(self.root), [])

    def test_every_other_direction_is_found(self):
        wrong = {
            "host/a.h": "inet/api.h",
            "inet/transferstream.utf16.cpp": "inet/socketstream.utf16.h",
            "inet/socketstream.utf16.h": "inet/smtpclient.utf16.h",
            "inet/smtpclient.utf16.h": "sandbox/a.h",
            "sandbox/a.cpp": "host/host.h",
            "sandbox/b.cpp": "inet/api.h",
            "tools/vtmail/a.cpp": "tests/support/wide_text.h",
            "inet/unheardof.utf16.h": "inet/wiretext.utf16.h",
        }
        for source, included in wrong.items():
            self.write(source, f'\n#  include "{included}"\n')
        found = layers.complaints(self.root)
        self.assertEqual([line.split(":")[:2] for line in found],
                         [[source, "2"] for source in sorted(wrong)])

    def test_an_include_in_angle_brackets_is_no_way_around(self):
        self.write("host/a.h", "#include <inet/api.h>\n")
        self.assertEqual(len(layers.complaints(self.root)), 1)

    def test_a_path_that_is_not_from_the_root_is_found(self):
        self.write("host/a.cpp", '#include "a.h"\n')
        self.assertEqual(len(layers.complaints(self.root)), 1)


class TestsRan(unittest.TestCase):
    def judge(self, floor, **states):
        cases = "".join(f'<testcase name="{name}" status="{state}"/>'
                        for name, state in states.items())
        results = xml.etree.ElementTree.fromstring(f"<testsuite>{cases}</testsuite>")
        return tests_ran.judge("all", [tests_ran.states(results)], {"all": floor}, {"optional"})

    def test_summary_counts(self):
        summary, complaints = self.judge(2, a="run", b="run", optional="notrun")
        self.assertEqual(summary, "all: 2 passed, 0 failed, 1 skipped (at least 2 expected)")
        self.assertEqual(complaints, [])

    def test_too_few_tests(self):
        self.assertEqual(self.judge(3, a="run", optional="notrun")[1],
                         ["1 tests ran, at least 3 are expected"])

    def test_skipped_disabled_and_failed_tests(self):
        self.assertEqual(self.judge(0, a="notrun", b="disabled", c="fail")[1],
                         ["failed: c", "did not run: a", "did not run: b"])

    def test_results_of_a_program_that_ran_whole(self):
        results = xml.etree.ElementTree.fromstring(
            '<testsuites><testsuite><testcase classname="A" name="a" result="completed"/>'
            '<testcase classname="A" name="b" result="skipped"/>'
            '<testcase classname="A" name="c" result="completed"><failure/></testcase>'
            '</testsuite></testsuites>')
        self.assertEqual(list(tests_ran.states(results)),
                         [("A.a", "run"), ("A.b", "notrun"), ("A.c", "fail")])

    def test_tests_of_one_name_in_two_programs_are_two(self):
        summary, _ = tests_ran.judge("all", [[("a", "run")], [("a", "run")]], {"all": 2}, set())
        self.assertEqual(summary, "all: 2 passed, 0 failed, 0 skipped (at least 2 expected)")

    def test_expectations_are_read(self):
        text = "# c\nat-least all 7  # c\nmay-skip a.b\n"
        self.assertEqual(tests_ran.expectations(text), ({"all": 7}, {"a.b"}))

    def test_an_expectation_that_cannot_be_read_is_an_error(self):
        with self.assertRaises(ValueError):
            tests_ran.expectations("at-most all 7")


def changes(code):
    """What scripts/mutate makes of `code`, as its descriptions."""
    with tempfile.NamedTemporaryFile("w", suffix=".cpp") as file:
        file.write(code)
        file.flush()
        return [mutant.change for mutant in mutate.mutants_of(file.name)]


class KeptBehavioursTest(TreeTest):
    """A tree with one behaviour and its test, before each case changes it."""

    def setUp(self):
        super().setUp()
        self.write("inet/a.cpp", "int a;  // Kept: a is not set.\n")
        self.write("tests/a_test.cpp", 'TEST_P(A, isNotSet) {}\nRow rows[] = {{"first"}};\n')
        self.write("scripts/kept-tests", "# c\n\ninet/a.cpp\n  A is\n    A.isNotSet\n")

    def complaints(self):
        tree = kept.Tree(self.root)
        tree.page()
        return tree.complaints

    def test_sentences_end_with_their_comments(self):
        text = ("/// What it does. Kept: the\n/// end.\nint a;\n// Kept: b\n\n// no\n"
                "int c;  // kept: c.\n// Kept: d\n// NOLINT(x)\n// Kept by number\n")
        self.assertEqual(kept.behaviours_in(text), ["The end.", "B.", "C.", "D."])

    def test_a_behaviour_stands_on_the_page_with_its_test(self):
        tree = kept.Tree(self.root)
        self.assertIn("| A is not set. | [`A.isNotSet`](../tests/a_test.cpp) |", tree.page())
        self.assertEqual(tree.complaints, [])

    def test_a_behaviour_without_a_test(self):
        self.write("scripts/kept-tests", "")
        self.assertEqual(self.complaints(),
                         ["inet/a.cpp: scripts/kept-tests names no test of 'A is not set.'"])

    def test_a_test_that_does_not_exist(self):
        self.write("tests/a_test.cpp", "")
        self.assertEqual(self.complaints(), ["scripts/kept-tests: there is no test A.isNotSet"])

    def test_a_row_of_a_test(self):
        self.write("scripts/kept-tests",
                   "inet/a.cpp\n  A\n    A.isNotSet/first\n    A.isNotSet/second\n")
        self.assertEqual(self.complaints(),
                         ["scripts/kept-tests: there is no test A.isNotSet/second"])

    def test_a_test_without_a_behaviour(self):
        self.write("inet/a.cpp", "")
        self.assertEqual(self.complaints(),
                         ["scripts/kept-tests: no one behaviour of inet/a.cpp begins 'A is'"])

    def test_a_table_that_cannot_be_read_is_an_error(self):
        with self.assertRaises(ValueError):
            kept.tests_by_beginning("  A\n")

    def test_another_form_of_mark(self):
        self.write("inet/a.cpp", "int a;  // Kept: a is not set\n\n// So it is; kept.\n")
        self.assertEqual(self.complaints(), ['inet/a.cpp:3: write "Kept: SENTENCE"'])


class DocumentsTest(TreeTest):
    """A tree with a document and what it speaks of, before each case adds to it."""

    def complaints(self, *lines):
        self.write("docs/b.md", "# The `b` of it\n")
        self.write("tests/c.cpp", "int f() {\n    g();\n    return 1;\n}\n")
        self.write("docs/a.md", "\n".join(lines) + "\n")
        return docs.Checker(self.root.resolve()).complaints()

    def test_what_is_there(self):
        self.assertEqual(self.complaints(
            "[b](b.md) [b](b.md#the-b-of-it) [x](https://x.example/y) [here](#a)", "## A",
            "![a b](b.md) `tests/c.cpp` `tests/*.cpp` `tests/` `docs/a.md#x` `[x](y)`"), [])

    def test_links_that_lead_nowhere(self):
        self.assertEqual(self.complaints("[b](c.md)", "[b](b.md#c)", "[x](../../..)"),
                         ["docs/a.md:1: c.md leads nowhere", "docs/a.md:2: b.md#c leads nowhere",
                          "docs/a.md:3: ../../.. leads nowhere"])

    def test_a_picture_without_text(self):
        self.assertEqual(self.complaints("![](b.md)"),
                         ["docs/a.md:1: the picture b.md has no text in its place"])

    def test_a_file_that_is_not_there(self):
        self.assertEqual(self.complaints("see `tests/d.cpp`"),
                         ["docs/a.md:1: there is no tests/d.cpp"])

    def test_a_block_that_stands_in_its_file(self):
        self.assertEqual(self.complaints("<!-- from tests/c.cpp -->", "```cpp", "g();", "return 1;",
                                         "```"), [])

    def test_a_block_that_does_not(self):
        self.assertEqual(self.complaints("<!-- from tests/c.cpp -->", "```cpp", "g();", "return 2;",
                                         "```"),
                         ["docs/a.md:3: the block does not stand in tests/c.cpp"])

    def test_links_in_blocks_are_none(self):
        self.assertEqual(self.complaints("```sh", "[a](nowhere)", "```"), [])


class LicencesTest(TreeTest):
    """A tree with its licence and a document, before each case adds to it."""

    MARK = "// SPDX-License" + "-Identifier:"  # in one piece it would be this file's own

    def complaints(self, name, text):
        self.write("LICENSES/Apache-2.0.txt", "")
        self.write(".reuse/dep5", "Format: x\n\nFiles: docs/*\n LICENSES/* .reuse/*\nLicense: y\n")
        self.write("build/a.cpp", "")
        self.write(name, text)
        return licences.complaints(self.root)

    def test_code_that_names_its_licence(self):
        self.assertEqual(self.complaints("a.cpp", f"{self.MARK} Apache-2.0\n"), [])

    def test_code_that_does_not(self):
        wrong = "no SPDX-License-Identifier in its first lines"
        self.assertEqual(self.complaints("docs/a.h", "int a;\n"), [f"docs/a.h: {wrong}"])
        self.assertEqual(self.complaints("docs/b", "#!/bin/sh\n"),
                         [f"docs/a.h: {wrong}", f"docs/b: {wrong}"])

    def test_a_licence_without_its_text(self):
        self.assertEqual(self.complaints("a.cpp", f"{self.MARK} MIT\n"),
                         ["a.cpp: there is no LICENSES/MIT.txt"])

    def test_other_files(self):
        self.assertEqual(self.complaints("docs/a.md", "a\n"), [])
        self.assertEqual(self.complaints("a.md", "a\n"), ["a.md: .reuse/dep5 does not speak of it"])


class MutantsTest(unittest.TestCase):
    def test_operators(self):
        self.assertEqual(changes("bool f() { return a < b && !c; }\n"),
                         ["< becomes <=", "&& becomes ||", "! becomes nothing"])

    def test_brackets_of_templates_are_no_operators(self):
        self.assertEqual(changes("std::vector<int> v(std::vector<A>&& a) {}\n"), [])

    def test_constants_go_up_and_down(self):
        self.assertEqual(changes("int f() { return 75; }\n"), ["75 becomes 74", "75 becomes 76"])

    def test_comments_and_directives_stay(self):
        self.assertEqual(changes("#include <a1>\n// 1 < 2\n"), [])

    def test_literals_and_truth(self):
        self.assertEqual(changes("auto f() { return g(u\"a\", '\\n', true); }\n"),
                         ['u"a" becomes u""', "'\\n' becomes '\\1'", "true becomes false"])

    def test_conditions_and_statements(self):
        self.assertEqual(changes("void f() {\n    if (a) g(x);\n    h();\n}\n"),
                         ["not a", "without g(x);", "without h();"])

    def test_declarations_stay(self):
        self.assertEqual(changes("void f() {\n    const int a = b;\n    std::string c;\n}\n"), [])

    def test_the_last_return_stays(self):
        self.assertEqual(changes("int f() {\n    if (a) return b;\n    return c;\n}\n"),
                         ["not a", "without return b;"])

    def test_harmless_changes_need_a_reason(self):
        block = "f.cpp\nline;\n1 becomes 2\n1 becomes 0\n"
        self.assertEqual(mutate.harmless_changes("# c\n" + block + "because so\n"),
                         {("f.cpp", "line;", "1 becomes 2"), ("f.cpp", "line;", "1 becomes 0")})
        with self.assertRaises(ValueError):
            mutate.harmless_changes(block)

    def test_the_score_leaves_out_what_cannot_be_killed(self):
        counts = dict.fromkeys((mutate.KILLED, mutate.TIMED_OUT, mutate.SURVIVED), 1)
        counts |= {mutate.HARMLESS_CHANGE: 7, mutate.NOT_COMPILED: 7}
        self.assertAlmostEqual(mutate.score(counts), 100 * 2 / 3)


if __name__ == "__main__":
    unittest.main()
