// SPDX-License-Identifier: Apache-2.0
// vtmail show, run on mails from standard input and from files.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sysexits.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tests/unit/host/child_process.h"
#include "tests/unit/vtmail/json_schema.h"
#include "tests/unit/vtmail/program.h"

namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

/// Two alternatives, a file and an embedded message; no defects.
const std::string richMail =
    "Date: Sat, 21 Nov 2026 08:45:42 +0000\n"
    "From: =?UTF-8?Q?Zo=C3=AB?= <zoe@example.org>\n"
    "To: a@example.org,\n \"B C\" <b@example.org>\n"
    "Subject: =?ISO-8859-1?Q?Gr=FC=DFe?=\n"
    "Received: from one\nReceived: from two\n"
    "Content-Type: Multipart/Mixed; boundary=outer\n\n"
    "--outer\nContent-Type: multipart/alternative; boundary=inner\n\n"
    "--inner\nContent-Type: text/plain; charset=iso-8859-1\n"
    "Content-Transfer-Encoding: quoted-printable\n\nna=EFve\n"
    "--inner\nContent-Type: text/html\n\n<p>naive</p>\n--inner--\n"
    "--outer\nContent-Type: image/png; name=old.png\n"
    "Content-Disposition: attachment; filename*=utf-8''p%C3%A4%C3%9F.png\n"
    "Content-Transfer-Encoding: base64\n\nAAEC/w==\n"
    "--outer\nContent-Type: message/rfc822\n\n"
    "Subject: inside\n\nforwarded\n"
    "--outer--\n";
const std::string image("\0\1\2\xFF", 4);

/// A multipart with these parts, each its header fields and its content.
std::string mixed(const std::vector<std::string>& parts) {
    std::string mail = "Content-Type: multipart/mixed; boundary=b0\n\n";
    for (const std::string& part : parts) mail += "--b0\n" + part + "\n";
    return mail + "--b0--\n";
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

std::string file(const std::string& name, const std::string& content) {
    return "Content-Type: application/octet-stream\nContent-Disposition: attachment; filename=\"" +
           name + "\"\n\n" + content;
}

Outcome show(const std::string& mail, std::vector<std::string> options = {},
             const std::function<void()>& prepare = {}) {
    options.insert(options.begin(), {"show", "-"});
    return vtmail(options, mail, prepare);
}

std::string octetsOf(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const std::filesystem::path& path, const std::string& octets) {
    std::ofstream(path, std::ios::binary) << octets;
}

void expectFailure(const Outcome& run, int exitCode, const std::string& words) {
    EXPECT_EQ(run.exitCode, exitCode);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, AllOf(StartsWith("vtmail: "), HasSubstr(words)));
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
}

// ---- the overview

TEST(Show, ThereAreFieldsTreeAndText) {
    const Outcome run = show(richMail);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_EQ(run.out,
              "Date: Sat, 21 Nov 2026 08:45:42 +0000\n"
              "From: Zoë <zoe@example.org>\n"
              "To: a@example.org, \"B C\" <b@example.org>\n"
              "Subject: Grüße\n"
              "\nEntities:\n"
              "  1 multipart/mixed\n"
              "    1.1 multipart/alternative\n"
              "      1.1.1 text/plain, iso-8859-1, 5 octets\n"
              "      1.1.2 text/html, US-ASCII, 12 octets\n"
              "    1.2 image/png, 4 octets, päß.png\n"
              "    1.3 message/rfc822\n"
              "      1.3.1 text/plain, US-ASCII, 9 octets\n"
              "\nText 1.1.1:\nnaïve\n"
              "\nText 1.3.1:\nforwarded\n");
}

TEST(Show, AMailCanBeAFile) {
    const SettingsFolder folder;
    writeFile(folder.path() / "a.eml", "Subject: x\n\nbody\n");
    const Outcome run = vtmail({"show", folder.path() / "a.eml"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("Subject: x\n"), HasSubstr("body\n")));
}

TEST(Show, SenderAndCcAreShownWhereThereAreSome) {
    EXPECT_THAT(show("Cc: c@x\nSender: s@x\nFrom: f@x\n\n").out,
                StartsWith("From: f@x\nSender: s@x\nCc: c@x\n\n"));
}

TEST(Show, ARepeatedFieldIsShownEachTime) {
    EXPECT_THAT(show("Subject: one\nSubject: two\n\n").out,
                StartsWith("Subject: one\nSubject: two\n\n"));
}

TEST(Show, WithoutPlainTextTheFirstAlternativeIsShown) {
    const Outcome run = show(mixed(
        {"Content-Type: text/html\n\n<p>one", "Content-Type: text/calendar\n\nBEGIN:VCALENDAR"}));
    EXPECT_THAT(run.out, AllOf(HasSubstr("Text 1.1:\n<p>one\n"), Not(HasSubstr("BEGIN"))));
}

TEST(Show, AnAttachedTextIsNoText) {
    const Outcome run = show(mixed({"\nread me", "Content-Disposition: Attachment\n\nnot me"}));
    EXPECT_THAT(run.out, AllOf(HasSubstr("read me"), Not(HasSubstr("not me"))));
}

TEST(Show, TheNameOfTheTypeStandsInForTheFileName) {
    EXPECT_THAT(show("Content-Type: image/gif; name=\"a b.gif\"\n\nx").out,
                HasSubstr("1 image/gif, 1 octets, a b.gif\n"));
}

TEST(Show, ATypeThatMakesNoSenseIsShownAsOctets) {
    EXPECT_THAT(show("Content-Type: ;;;\n\nx").out,
                HasSubstr("1 application/octet-stream, 1 octets\n"));
}

TEST(Show, DefectsAreListed) {
    const Outcome run = show("no colon\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\ncut");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out,
                AllOf(HasSubstr("\nDefects:\n  entity 1, octet "), HasSubstr("has no colon"),
                      HasSubstr("has no end"), Not(HasSubstr("more"))));
}

TEST(Show, WithVeryManyDefectsTheRestIsCounted) {
    const std::string mail = repeated("no colon\n", 1500) + "\n";
    EXPECT_THAT(show(mail).out, HasSubstr("  and 500 more\n"));
}

TEST(Show, AMailNestedWithoutEndIsShownAsFarAsTheLimit) {
    const Outcome run = show(repeated("Content-Type: message/rfc822\n\n", 2000));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("lies too deep"));
}

TEST(Show, LineEndsOfAnyKindAreShownAsOne) {
    EXPECT_THAT(show("Subject: x\r\n\r\none\r\ntwo\nthree").out,
                HasSubstr("Text 1:\none\ntwo\nthree\n"));
}

// ---- what a terminal must not get

/// Escape sequences wherever a mail can have text.
const std::string hostileMail = mixed({
    "Content-Type: text/plain; charset=\"\x1B]0;x\x07\"; "
    "name=\"\x1B[2J\u202E\u202C\"\n\n"
    "\x1B[2J\xC2\x9B"
    "31m\b\r.\u202E\u202C\x7F",
    "Content-Type: text/plain; charset=utf-8\n\n\x1B[2J\xC2\x9B"
    "31m\b\r.\u202E\u202C\x7F",
});
const std::string hostileHeader =
    "Subject: =?UTF-8?Q?=1B[2J=C2=9B=E2=80=AE=E2=80=AC=0A?= \x1B[2J\n"
    "X\x1B[2J: \x9B\n";

/// The octets of `text` that could steer a terminal.
std::string steering(const std::string& text) {
    std::string found;
    for (const char c : text)
        if ((static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') || c == 0x7F)
            found += c;
    for (const char* mark : {"\xC2\x9B", "\u202E\u202C"})
        if (text.find(mark) != std::string::npos) found += mark;
    return found;
}

TEST(Show, NothingSteersATerminal) {
    const std::vector<std::vector<std::string>> ways = {{}, {"--headers"}, {"--json"}};
    for (const std::vector<std::string>& options : ways) {
        const Outcome run = show(hostileHeader + hostileMail, options);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_THAT(run.out, HasSubstr("[2J"));
        EXPECT_EQ(steering(run.out), "");
    }
}

TEST(Show, NothingSteersATerminalThroughTheNamesOfFiles) {
    const SettingsFolder folder;
    const Outcome run = show(hostileMail, {"--extract", folder.path()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(steering(run.out), "");
    EXPECT_THAT(folder.names(), ElementsAre("[2J"));
}

/// A terminal that vtmail writes to, without changes of its own.
class Terminal {
  public:
    Terminal() : main_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        EXPECT_EQ(grantpt(main_), 0);
        EXPECT_EQ(unlockpt(main_), 0);
        other_ = open(ptsname(main_), O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_NE(other_, -1);
    }
    ~Terminal() {
        close(other_);
        close(main_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    int descriptor() const { return other_; }
    /// What has been written, up to 4000 octets.
    std::string octets() const {
        fcntl(main_, F_SETFL, O_NONBLOCK);
        char block[4000];
        const ssize_t count = read(main_, block, sizeof block);
        return {block, count > 0 ? static_cast<std::size_t>(count) : 0};
    }

  private:
    int main_;
    int other_;
};

/// Runs with the terminal as standard output; what it shows becomes `out`.
Outcome showOnTerminal(const std::string& mail, const std::vector<std::string>& options) {
    const Terminal terminal;
    Outcome run = show(mail, options, [&] { dup2(terminal.descriptor(), STDOUT_FILENO); });
    run.out = terminal.octets();
    return run;
}

// ---- colour

TEST(ShowColour, TitlesAreBoldAtATerminal) {
    const ScopedEnvironment terminal("TERM", "xterm");
    const ScopedEnvironment colour("NO_COLOR", std::nullopt);
    EXPECT_EQ(showOnTerminal("A: \x1B[2J\n\nx\n", {"--headers"}).out,
              "\x1B[1mA:\x1B[m \\x1B[2J\r\n");
}

TEST(ShowColour, NoneGoesWhereNobodyWantsIt) {
    const std::pair<const char*, const char*> rows[] = {
        {"TERM", "dumb"}, {"TERM", ""}, {"NO_COLOR", "1"}};
    for (const auto& [variable, value] : rows) {
        const ScopedEnvironment terminal("TERM", "xterm");
        const ScopedEnvironment changed(variable, value);
        EXPECT_EQ(showOnTerminal("A: b\n\nx\n", {"--headers"}).out, "A: b\r\n") << variable;
    }
    const ScopedEnvironment terminal("TERM", "xterm");
    EXPECT_EQ(show("A: b\n\nx\n", {"--headers"}).out, "A: b\n");
}

TEST(ShowColour, AComplaintIsRedAtATerminal) {
    const ScopedEnvironment type("TERM", "xterm");
    const ScopedEnvironment colour("NO_COLOR", std::nullopt);
    const Terminal terminal;
    show("", {}, [&] { dup2(terminal.descriptor(), STDERR_FILENO); });
    EXPECT_THAT(terminal.octets(), StartsWith("\x1B[31mvtmail:\x1B[m standard input is empty"));
}

// ---- mboxes

const std::string twoMails =
    "From a@x Sat Nov 21 08:45:42 2026\nSubject: one\n\nFro\n>From x\n>>From y\n\n\n>\n>> z\n\n"
    "From b@x Sat Nov 21 08:45:43 2026\r\nSubject: two\r\n\r\nF\r\n\r\n";

TEST(ShowMbox, AMessageIsReadByItsNumber) {
    const Outcome first = show(twoMails, {"--message", "1", "--raw"});
    EXPECT_EQ(first.out, "Subject: one\n\nFro\nFrom x\n>From y\n\n\n>\n>> z\n");
    EXPECT_THAT(first.err, IsEmpty());
    EXPECT_EQ(show(twoMails, {"--message", "2", "--raw"}).out, "Subject: two\r\n\r\nF\r\n");
    EXPECT_EQ(show(twoMails, {"--message", "2", "--headers"}).out, "Subject: two\n");
}

TEST(ShowMbox, WithoutANumberTheFirstIsShownAndThatIsSaid) {
    const Outcome run = show(twoMails, {"--headers"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "Subject: one\n");
    EXPECT_EQ(run.err,
              "vtmail: standard input is an mbox; this is its first message, --message N shows "
              "another\n");
}

TEST(ShowMbox, AMessageThatIsNotThereIsNamed) {
    expectFailure(show(twoMails, {"--message", "3"}), EX_NOINPUT,
                  "standard input has no message 3, only 2");
    expectFailure(show("A: b\n\nx\n", {"--message", "2", "--raw"}), EX_NOINPUT, "only 1");
    expectFailure(show(twoMails, {"--message", "0"}), EX_USAGE, "--message");
}

TEST(ShowMbox, ItsEndsMayBeAnywhere) {
    const std::pair<std::string, std::string> rows[] = {
        {"From ", ""},
        {"From x", ""},
        {"From x\n", ""},
        {"From x\nA: b\n\nx", "A: b\n\nx"},
        {"From x\nA: b\n\nFro", "A: b\n\nFro"},
        {"From x\nA: b\n\n>From", "A: b\n\n>From"},
        {"From x\nA: b\n\nx\n\r", "A: b\n\nx\n\r"},
        {"From x\nA: b\n\n\r\n\r\n", "A: b\n\n\r\n"},
    };
    for (const auto& [mbox, mail] : rows)
        EXPECT_EQ(show(mbox, {"--message", "1", "--raw"}).out, mail) << mbox;
}

TEST(ShowMbox, WherePiecesOfTheFileEndMakesNoDifference) {
    for (std::size_t before = 65512; before < 65530; ++before) {
        const std::string text = std::string(before, 'x') + "\n>From y\n\nz\n";
        const std::string mbox = "From x\nA: b\n\n" + text + "\nFrom x\nC: d\n\n";
        EXPECT_EQ(show(mbox, {"--message", "1", "--raw"}).out,
                  "A: b\n\n" + std::string(before, 'x') + "\nFrom y\n\nz\n");
    }
}

// ---- --raw, --tree, --defects

TEST(ShowRaw, TheOctetsAreThoseOfTheFile) {
    const std::string mail("A: \xFF\r\n\n\0\x1B[2J", 12);
    EXPECT_EQ(show(mail, {"--raw"}).out, mail);
}

TEST(ShowRaw, ATerminalGetsThemMadeSafe) {
    EXPECT_EQ(showOnTerminal("A: \x1B\xC3\xA4\xC3\r\n\tb", {"--raw"}).out,
              "A: \\x1Bä\uFFFD\r\n\tb\r\n");
}

TEST(Show, CharactersAreWholeWhereverPiecesEnd) {
    std::string mail;
    for (int i = 0; i < 22000; ++i) mail += "€";
    EXPECT_THAT(show("Content-Type: text/plain; charset=utf-8\n\n" + mail, {}).out,
                ::testing::EndsWith(mail + "\n"));
}

TEST(ShowTree, IsOnlyTheEntities) {
    EXPECT_EQ(
        show("Content-Type: multipart/mixed; boundary=b\n\n--b\n\nx\n--b--\n", {"--tree"}).out,
        "1 multipart/mixed\n  1.1 text/plain, US-ASCII, 1 octets\n");
}

TEST(ShowDefects, IsOnlyTheDefects) {
    EXPECT_EQ(show("no colon\nA: b\n\nx\n", {"--defects"}).out,
              "entity 1, octet 9: a line of the header has no colon and was dropped\n");
    EXPECT_THAT(show("A: b\n\nx\n", {"--defects"}).out, IsEmpty());
}

TEST(ShowPart, CharactersOutsideTheFirstPlaneAreWholeInLongTexts) {
    std::string text = "x";
    for (int i = 0; i < 20000; ++i) text += "\U0001F600";
    const std::string mail = "Content-Type: text/plain; charset=utf-8\n\n" + text;
    EXPECT_EQ(show(mail, {"--part", "1"}).out, text);
    EXPECT_THAT(show(mail, {}).out, ::testing::EndsWith(":\n" + text + "\n"));
}

// ---- --headers

TEST(ShowHeaders, AllFieldsAreThereDecoded) {
    const Outcome run = show(richMail, {"--headers"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out,
              "Content-Type: Multipart/Mixed; boundary=outer\n"
              "Date: Sat, 21 Nov 2026 08:45:42 +0000\n"
              "From: Zoë <zoe@example.org>\n"
              "Received: from one\nReceived: from two\n"
              "Subject: Grüße\n"
              "To: a@example.org, \"B C\" <b@example.org>\n");
}

// ---- --part

TEST(ShowPart, ATextIsUtf8) { EXPECT_EQ(show(richMail, {"--part", "1.1.1"}).out, "naïve"); }

TEST(ShowPart, ABinaryPartIsItsOctets) { EXPECT_EQ(show(richMail, {"--part", "1.2"}).out, image); }

TEST(ShowPart, AnEntityOfAnEmbeddedMessageHasAPath) {
    EXPECT_EQ(show(richMail, {"--part", "1.3.1"}).out, "forwarded");
}

TEST(ShowPart, ATextInAFileStaysAsItIs) {
    EXPECT_EQ(show("\n\x1B[2J\r\n", {"--part", "1"}).out, "\x1B[2J\r\n");
}

TEST(ShowPart, ATextOnATerminalIsMadeSafe) {
    const Outcome run = showOnTerminal("\n\x1B[2Jx\n", {"--part", "1"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "\\x1B[2Jx\r\n");
}

TEST(ShowPart, ABinaryPartIsNotForATerminal) {
    expectFailure(showOnTerminal(richMail, {"--part", "1.2"}), EX_USAGE, "redirect the output");
}

TEST(ShowPart, APathThatIsNotThereIsNamed) {
    for (const char* path : {"2", "1.4", "1.2.1", "1.", "01", "", "\x1B"})
        expectFailure(show(richMail, {"--part", path}), EX_NOINPUT, "has no entity");
    EXPECT_THAT(show(richMail, {"--part", "\x1B"}).err, HasSubstr("\\x1B"));
}

TEST(ShowPart, AContainerHasNoContent) {
    expectFailure(show(richMail, {"--part", "1.1"}), EX_USAGE, "give 1.1.1");
    expectFailure(show(richMail, {"--part", "1.3"}), EX_USAGE, "give 1.3.1");
}

TEST(ShowPart, ThatTheMailHasDefectsIsSaid) {
    const Outcome run =
        show("Content-Type: multipart/mixed; boundary=b\n\n--b\n\ncut", {"--part", "1.1"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "cut");
    EXPECT_THAT(run.err, HasSubstr("has defects"));
}

// ---- --extract

TEST(ShowExtract, FilesAreStoredUnderTheirNames) {
    const SettingsFolder folder;
    const Outcome run = show(richMail, {"--extract", folder.path()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "1.2 päß.png\n");
    EXPECT_THAT(folder.names(), ElementsAre("päß.png"));
    EXPECT_EQ(octetsOf(folder.path() / "päß.png"), image);
}

TEST(ShowExtract, ABinaryPartWithoutANameGetsOne) {
    const SettingsFolder folder;
    show(mixed({"\ntext", "Content-Type: image/png\n\nx", file("..", "y")}),
         {"--extract", folder.path()});
    EXPECT_THAT(folder.names(), ElementsAre("part-1.2.bin", "part-1.3.bin"));
}

TEST(ShowExtract, ATextWithANameIsStoredAsItCame) {
    const SettingsFolder folder;
    show("Content-Type: text/plain; charset=iso-8859-1; name=a.txt\n\nna\xEFve",
         {"--extract", folder.path()});
    EXPECT_EQ(octetsOf(folder.path() / "a.txt"), "na\xEFve");
}

TEST(ShowExtract, NoNameLeavesTheFolder) {
    const SettingsFolder folder;
    const std::filesystem::path inner = folder.path() / "inner";
    show(mixed({file("../up.txt", "a"), file("/etc/absolute.txt", "b"), file("..", "c")}),
         {"--extract", inner});
    EXPECT_THAT(folder.names(), ElementsAre("inner"));
    EXPECT_EQ(octetsOf(inner / "up.txt"), "a");
    EXPECT_EQ(octetsOf(inner / "absolute.txt"), "b");
    EXPECT_EQ(octetsOf(inner / "part-1.3.bin"), "c");
}

TEST(ShowExtract, NoFileIsReplaced) {
    const SettingsFolder folder;
    writeFile(folder.path() / "a.txt", "mine");
    const Outcome run =
        show(mixed({file("a.txt", "one"), file("a.txt", "two")}), {"--extract", folder.path()});
    EXPECT_EQ(run.out, "1.1 a-2.txt\n1.2 a-3.txt\n");
    EXPECT_EQ(octetsOf(folder.path() / "a.txt"), "mine");
    EXPECT_EQ(octetsOf(folder.path() / "a-2.txt"), "one");
    EXPECT_EQ(octetsOf(folder.path() / "a-3.txt"), "two");
}

TEST(ShowExtract, NoLinkIsFollowed) {
    const SettingsFolder folder;
    const SettingsFolder elsewhere;
    std::filesystem::create_symlink(elsewhere.path() / "target", folder.path() / "a.txt");
    show(file("a.txt", "one"), {"--extract", folder.path()});
    EXPECT_THAT(elsewhere.names(), IsEmpty());
    EXPECT_EQ(octetsOf(folder.path() / "a-2.txt"), "one");
}

TEST(ShowExtract, AFolderInTheWayIsLeftAlone) {
    const SettingsFolder folder;
    std::filesystem::create_directory(folder.path() / "a.txt");
    show(file("a.txt", "one"), {"--extract", folder.path()});
    EXPECT_THAT(folder.names(), ElementsAre("a-2.txt", "a.txt"));
}

TEST(ShowExtract, AFolderThatCannotBeWrittenIsNamed) {
    const SettingsFolder folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
    expectFailure(show(richMail, {"--extract", folder.path()}, becomeOrdinaryUser), EX_CANTCREAT,
                  "Permission denied");
    expectFailure(show(richMail, {"--extract", folder.path() / "new"}, becomeOrdinaryUser),
                  EX_CANTCREAT, "Permission denied");
}

TEST(ShowExtract, AFileIsNoFolder) {
    const SettingsFolder folder;
    writeFile(folder.path() / "file", "mine");
    expectFailure(show(richMail, {"--extract", folder.path() / "file"}), EX_CANTCREAT,
                  "Not a directory");
    expectFailure(show(richMail, {"--extract", ""}), EX_CANTCREAT, "No such file");
}

TEST(ShowExtract, WithoutSpaceNothingHalfIsLeft) {
    const SettingsFolder folder;
    const Outcome run =
        show(mixed({file("small", "x"), file("large", std::string(5000, 'x')), file("next", "y")}),
             {"--extract", folder.path()}, [] {
                 const rlimit limit = {1000, 1000};
                 setrlimit(RLIMIT_FSIZE, &limit);
             });
    EXPECT_EQ(run.exitCode, EX_CANTCREAT);
    EXPECT_EQ(run.out, "1.1 small\n");
    EXPECT_THAT(run.err, AllOf(HasSubstr("/large: "), HasSubstr("File too large")));
    EXPECT_THAT(folder.names(), ElementsAre("small"));
}

/// Lets renameat2 fail as on a file system that does not know it.
void forbidExclusiveRename() {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {std::size(program), program};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        _exit(126);
}

TEST(ShowExtract, AFileSystemWithoutExclusiveRenameWillDo) {
    const SettingsFolder folder;
    writeFile(folder.path() / "a.txt", "mine");
    const Outcome run =
        show(file("a.txt", "one"), {"--extract", folder.path()}, forbidExclusiveRename);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(folder.names(), ElementsAre("a-2.txt", "a.txt"));
    EXPECT_EQ(octetsOf(folder.path() / "a.txt"), "mine");
    EXPECT_EQ(octetsOf(folder.path() / "a-2.txt"), "one");
}

TEST(ShowExtract, ThatTheMailHasDefectsIsSaid) {
    const SettingsFolder folder;
    const Outcome run = show("Content-Type: multipart/mixed; boundary=b\n\n--b\n" + file("a", "cu"),
                             {"--extract", folder.path()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "1.1 a\n");
    EXPECT_THAT(run.err, HasSubstr("has defects"));
}

// ---- --json

TEST(ShowJson, ThereAreHeadersAddressesAndTree) {
    const Outcome run = show(richMail, {"--json"});
    EXPECT_EQ(run.exitCode, 0);
    const json expected = json::parse(R"({
        "headers": {
            "content-type": ["Multipart/Mixed; boundary=outer"],
            "date": ["Sat, 21 Nov 2026 08:45:42 +0000"],
            "from": ["Zoë <zoe@example.org>"],
            "received": ["from one", "from two"],
            "subject": ["Grüße"],
            "to": ["a@example.org, \"B C\" <b@example.org>"]},
        "addresses": {
            "from": [{"name": "Zoë", "address": "zoe@example.org"}],
            "sender": [],
            "to": [{"name": "", "address": "a@example.org"},
                   {"name": "B C", "address": "b@example.org"}],
            "cc": []},
        "tree": {"path": "1", "kind": "multipart", "type": "multipart/mixed", "parts": [
            {"path": "1.1", "kind": "multipart", "type": "multipart/alternative", "parts": [
                {"path": "1.1.1", "kind": "text", "type": "text/plain", "charset": "iso-8859-1",
                 "size": 5},
                {"path": "1.1.2", "kind": "text", "type": "text/html", "charset": "US-ASCII",
                 "size": 12}]},
            {"path": "1.2", "kind": "binary", "type": "image/png", "size": 4,
             "fileName": "päß.png"},
            {"path": "1.3", "kind": "message", "type": "message/rfc822",
             "headers": {"subject": ["inside"]}, "parts": [
                {"path": "1.3.1", "kind": "text", "type": "text/plain", "charset": "US-ASCII",
                 "size": 9}]}]},
        "defects": [],
        "defectCount": 0})");
    EXPECT_EQ(json::parse(run.out), expected) << run.out;
    EXPECT_EQ(differencesFromSchema("show", run.out), "");
}

TEST(ShowJson, DefectsHaveKindEntityOffsetAndDescription) {
    const std::string mail = "Content-Type: multipart/mixed; boundary=b\n\n--b\n\ncut";
    const Outcome run = show(mail, {"--json"});
    EXPECT_EQ(differencesFromSchema("show", run.out), "");
    const json all = json::parse(run.out);
    EXPECT_EQ(all["defectCount"], 1);
    const json& defect = all["defects"].at(0);
    EXPECT_EQ(defect["kind"], "unclosedMultipart");
    EXPECT_EQ(defect["entity"], "1");
    EXPECT_EQ(defect["offset"], mail.size());
    EXPECT_EQ(defect["description"], "entity 1, octet 51: the multipart has no end");
}

TEST(ShowJson, EachKindOfDefectHasItsName) {
    const std::pair<std::string, std::string> rows[] = {
        {"no colon\n\n", "lineWithoutColon"},
        {"A: " + std::string(1 << 21, 'x') + "\n\n", "headerTooLarge"},
        {"Content-Transfer-Encoding: rot13\n\nx", "unknownTransferEncoding"},
        {"Content-Transfer-Encoding: quoted-printable\n\na=zzb", "malformedQuotedPrintable"},
        {"Content-Type: text/plain; charset=klingon\n\nx", "unknownCharset"},
        {"Content-Type: multipart/mixed\n\n--\n\nx\n----\n", "noBoundary"},
        {"Content-Type: multipart/mixed; boundary=b\n\n", "unclosedMultipart"},
        {repeated("Content-Type: message/rfc822\n\n", 200), "tooDeep"},
        {mixed(std::vector<std::string>(20001, "\n")), "tooManyEntities"},
    };
    for (const auto& [mail, kind] : rows) {
        const Outcome run = show(mail, {"--json"});
        EXPECT_EQ(json::parse(run.out)["defects"].at(0)["kind"], kind);
        EXPECT_EQ(differencesFromSchema("show", run.out), "");
    }
}

TEST(ShowJson, ADeepTreeIsNotIndented) {
    const std::string mail =
        repeated("Content-Type:message/rfc822\n\n", 98) + repeated(":b\n", 10'000) + "\n";
    const Outcome run = show(mail, {"--json"});
    EXPECT_LT(run.out.size(), 8 * mail.size());
    EXPECT_EQ(differencesFromSchema("show", run.out), "");
}

TEST(ShowJson, OnlyAsciiIsWritten) {
    for (const char c : show(hostileHeader + richMail, {"--json"}).out)
        EXPECT_TRUE(c == '\n' || (c >= 0x20 && c < 0x7F)) << static_cast<int>(c);
}

// ---- what cannot be shown

TEST(Show, AFileThatIsNotThereIsNamed) {
    expectFailure(vtmail({"show", "/nowhere\x1B"}), EX_NOINPUT,
                  "cannot open /nowhere\\x1B: No such file or directory");
}

TEST(Show, AFileThatMayNotBeReadIsNamed) {
    const SettingsFolder folder;
    writeFile(folder.path() / "a.eml", "Subject: x\n\n");
    std::filesystem::permissions(folder.path() / "a.eml", std::filesystem::perms(0));
    expectFailure(vtmail({"show", folder.path() / "a.eml"}, {}, becomeOrdinaryUser), EX_NOINPUT,
                  "Permission denied");
}

TEST(Show, AFolderIsNoMail) {
    expectFailure(vtmail({"show", "/"}), EX_NOINPUT, "cannot read /: Is a directory");
}

TEST(Show, AnEmptyFileIsNoMail) { expectFailure(show(""), EX_DATAERR, "is empty"); }

TEST(Show, StandardInputThatIsClosedIsSaid) {
    expectFailure(show("", {}, [] { close(STDIN_FILENO); }), EX_NOINPUT,
                  "cannot read standard input: Bad file descriptor");
}

TEST(Show, OutputThatCannotBeWrittenIsAnError) {
    const auto toFullDisk = [] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO); };
    for (const char* option : {"--headers", "--json"})
        EXPECT_EQ(show(richMail, {option}, toFullDisk).exitCode, EX_IOERR);
    EXPECT_EQ(show(richMail, {}, toFullDisk).exitCode, EX_IOERR);
    EXPECT_EQ(show(richMail, {"--part", "1.2"}, toFullDisk).exitCode, EX_IOERR);
}

}  // namespace
