// SPDX-License-Identifier: Apache-2.0
// What becomes of the file names that a mail gives.
#include "tools/vtmail/file_names.h"

#include <gmock/gmock.h>

namespace {

using ::testing::EndsWith;
using ::testing::Le;
using ::testing::SizeIs;

struct Row {
    const char* given;
    const char* safe;
};

void expectSafe(std::initializer_list<Row> rows) {
    for (const Row& row : rows) EXPECT_EQ(file_names::safe(row.given), row.safe) << row.given;
}

TEST(FileNames, AnOrdinaryNameStays) {
    expectSafe({{"report.pdf", "report.pdf"},
                {"Bericht März (2).tar.gz", "Bericht März (2).tar.gz"},
                {"ファイル", "ファイル"},
                {"a'b\"c$d;e.txt", "a'b\"c$d;e.txt"}});
}

TEST(FileNames, OnlyTheLastPartOfAPathCounts) {
    expectSafe({{"/etc/passwd", "passwd"},
                {"../../x.txt", "x.txt"},
                {"C:\\Users\\x.txt", "x.txt"},
                {"a/b\\c", "c"},
                {"folder/", ""}});
}

TEST(FileNames, DotsCannotClimbOrHide) {
    expectSafe({{".", ""},
                {"..", ""},
                {"...", ""},
                {".bashrc", "bashrc"},
                {"..hidden", "hidden"},
                {" . x", "x"},
                {"a..b", "a.b"},
                {"a...txt", "a.txt"},
                {"a.", "a"}});
}

TEST(FileNames, NoNameIsAnOption) { expectSafe({{"-rf", "rf"}, {"--help", "help"}, {"-", ""}}); }

TEST(FileNames, ControlAndDirectionCharactersGo) {
    expectSafe({{"a\x1B[31m\n\r\tb\x7F", "a[31mb"},
                {"a\u0085\u009Bb", "ab"},
                {"invoice\u202Egnp\u202C.exe", "invoicegnp.exe"},
                {"a\u200F\u2066\u2069\u2028\uFEFFb", "ab"},
                {"\x01\x02", ""}});
}

TEST(FileNames, ACharacterThatGoesLeavesNoWayUp) {
    expectSafe({{".\x01.", ""}, {".\u202E\u202C./x", "x"}, {"a.\x01.b", "a.b"}});
}

TEST(FileNames, OctetsThatAreNoUtf8AreNotKept) {
    expectSafe({{"a\xFF\xC0.txt", "a.txt"}, {"\x80\x80", ""}});
}

TEST(FileNames, ALongNameKeepsItsExtension) {
    const std::string safe = file_names::safe(std::string(1000, 'a') + ".pdf");
    EXPECT_EQ(safe, std::string(196, 'a') + ".pdf");
}

TEST(FileNames, ALongNameIsCutBetweenCharacters) {
    std::string name;
    for (int i = 0; i < 300; ++i) name += "€";
    const std::string safe = file_names::safe(name + ".txt");
    EXPECT_THAT(safe, SizeIs(65 * 3 + 4));
    EXPECT_THAT(safe, EndsWith("€.txt"));
}

TEST(FileNames, ALongExtensionIsNone) {
    EXPECT_EQ(file_names::safe("a." + std::string(1000, 'b')), "a." + std::string(198, 'b'));
}

TEST(FileNames, AllLengthsAreWithinTheLimit) {
    for (std::size_t length = 190; length < 230; ++length)
        EXPECT_THAT(file_names::safe(std::string(length, 'x') + "é.jpeg"),
                    SizeIs(Le(file_names::longest)));
}

TEST(FileNames, ANumberStandsBeforeTheExtension) {
    EXPECT_EQ(file_names::numbered("a.txt", 2), "a-2.txt");
    EXPECT_EQ(file_names::numbered("a", 13), "a-13");
    EXPECT_EQ(file_names::numbered("a.b.c", 3), "a.b-3.c");
}

}  // namespace
