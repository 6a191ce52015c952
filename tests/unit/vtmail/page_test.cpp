// SPDX-License-Identifier: Apache-2.0
// What the sandbox's page shows of mails, and that nothing of a mail becomes markup.
#include "tools/vtmail/page.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Lt;
using ::testing::Not;
using ::testing::SizeIs;

/// The page of a sandbox in which these have arrived.
class PageOf {
  public:
    explicit PageOf(const std::vector<std::string>& mails) {
        for (const std::string& mail : mails) add({"s@x", {"r@x"}, mail});
    }

    void add(sandbox::Message message) {
        mails_.push_back(
            {mails_.size() + 1, {}, std::make_shared<const sandbox::Message>(message)});
    }

    page::Reply get(const std::string& path) const {
        return page::replyTo({"127.0.0.1", 2525, [this] { return mails_; }}, path);
    }
    std::string show(const std::string& path) const {
        const page::Reply reply = get(path);
        EXPECT_EQ(reply.status, 200) << path;
        EXPECT_EQ(reply.type, "text/html; charset=utf-8") << path;
        return reply.body;
    }

  private:
    std::vector<sandbox::Arrival> mails_;
};

std::size_t countOf(const std::string& what, const std::string& text) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

/// A multipart with these parts, each its header fields and its content.
std::string mixed(const std::vector<std::string>& parts) {
    std::string mail = "Content-Type: multipart/mixed; boundary=b0\r\n\r\n";
    for (const std::string& part : parts) mail += "--b0\r\n" + part + "\r\n";
    return mail + "--b0--\r\n";
}

std::string file(const std::string& name, const std::string& content) {
    return "Content-Type: image/png\r\nContent-Disposition: attachment; filename=\"" + name +
           "\"\r\n\r\n" + content;
}

/// Two alternatives, a file and an embedded message; no defects.
const std::string richMail =
    "Date: Sat, 21 Nov 2026 08:45:42 +0000\r\n"
    "From: =?UTF-8?Q?Zo=C3=AB?= <zoe@example.org>\r\n"
    "To: a@example.org,\r\n \"B C\" <b@example.org>\r\n"
    "Subject: =?ISO-8859-1?Q?Gr=FC=DFe?=\r\n"
    "Received: from one\r\nReceived: from two\r\n"
    "Content-Type: Multipart/Mixed; boundary=outer\r\n\r\n"
    "--outer\r\nContent-Type: multipart/alternative; boundary=inner\r\n\r\n"
    "--inner\r\nContent-Type: text/plain; charset=iso-8859-1\r\n"
    "Content-Transfer-Encoding: quoted-printable\r\n\r\nna=EFve\r\n"
    "--inner\r\nContent-Type: text/html\r\n\r\n<p>naive</p>\r\n--inner--\r\n"
    "--outer\r\nContent-Type: image/png; name=old.png\r\n"
    "Content-Disposition: attachment; filename*=utf-8''p%C3%A4%C3%9F.png\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\nAAEC/w==\r\n"
    "--outer\r\nContent-Type: message/rfc822\r\n\r\n"
    "Subject: inside\r\n\r\nforwarded\r\n"
    "--outer--\r\n";

// ---- the list

TEST(PageList, WithoutMailsItTellsHowToSendOne) {
    const std::string page = PageOf({}).show("/");
    EXPECT_THAT(page, AllOf(HasSubstr("No mail has arrived"), HasSubstr("127.0.0.1, port 2525"),
                            HasSubstr("smtp://127.0.0.1:2525"), HasSubstr("<title>No mails<")));
}

TEST(PageList, ThereIsARowForEachMailTheNewestFirst) {
    const std::string page = PageOf({"Subject: one\r\n\r\n", "Subject: two\r\n\r\n"}).show("/");
    EXPECT_THAT(page, HasSubstr("2 in all"));
    EXPECT_LT(page.find("<a href=\"/mails/2\">two</a>"), page.find("<a href=\"/mails/1\">one</a>"));
}

TEST(PageList, ARowHasSenderRecipientsTimeAndSize) {
    PageOf mails({});
    mails.add({"s@x", {"a@x", "b@x", "c@x"}, richMail});
    EXPECT_THAT(mails.show("/"),
                AllOf(HasSubstr(">Grüße</a>"), HasSubstr(">Zoë &lt;zoe@example.org&gt;</td>"),
                      HasSubstr(">a@x and 2 more</td>"),
                      HasSubstr("<time datetime=\"1970-01-01T00:00:00Z\">"),
                      HasSubstr(">" + std::to_string(richMail.size()) + "</td>")));
}

TEST(PageList, WhatTheHeaderLacksIsFilledIn) {
    EXPECT_THAT(PageOf({"X: y\r\n\r\nSubject: no field\r\n\r\n"}).show("/"),
                AllOf(HasSubstr(">(no subject)</a>"), HasSubstr(">&lt;s@x&gt;</td>"),
                      Not(HasSubstr("no field"))));
    for (const char* mail : {"", "\r", "\r\n", "\r\n\r\n", "x", "\r\n\r\nSubject: x\r\n\r\n"})
        EXPECT_THAT(PageOf({mail}).show("/"), HasSubstr(">(no subject)</a>"));
}

TEST(PageList, AHundredMailsAreOnAPage) {
    const PageOf mails(std::vector<std::string>(250, "Subject: x\r\n\r\n"));
    const std::string newest = mails.show("/");
    EXPECT_EQ(countOf("<th scope=\"row\"", newest), 100U);
    EXPECT_THAT(newest, AllOf(HasSubstr("/mails/250\""), HasSubstr("/mails/151\""),
                              HasSubstr("href=\"/before/151\"")));
    const std::string oldest = mails.show("/before/51");
    EXPECT_EQ(countOf("<th scope=\"row\"", oldest), 50U);
    EXPECT_THAT(oldest, AllOf(HasSubstr("/mails/50\""), HasSubstr("To the newest"),
                              Not(HasSubstr("/before/"))));
}

TEST(PageList, LongTextsAreShortened) {
    PageOf mails({});
    const std::string lengthy(100'000, 'a');
    mails.add({lengthy, {lengthy}, "Subject: " + lengthy + "\r\n\r\n"});
    EXPECT_THAT(mails.show("/"), AllOf(SizeIs(Lt(3000)), HasSubstr("aaa…</a>")));
}

// ---- one mail

TEST(PageMail, ShowsFieldsEnvelopeTextAndParts) {
    PageOf mails({});
    mails.add({"bounce@x", {"a@x", "hidden@x"}, richMail});
    const std::string page = mails.show("/mails/1");
    for (const char* part :
         {"<title>Grüße</title>", "<h1 dir=\"auto\">Grüße</h1>",
          "<th scope=\"row\">From</th><td dir=\"auto\">Zoë &lt;zoe@example.org&gt;</td>",
          "a@example.org, &quot;B C&quot; &lt;b@example.org&gt;</td>", "&lt;bounce@x&gt;</td>",
          "&lt;a@x&gt;<br>&lt;hidden@x&gt;</td>", "<h2>Text 1.1.1</h2>", ">naïve\n</pre>",
          "<h2>Text 1.3.1</h2>", ">forwarded\n</pre>",
          "<a href=\"/mails/1/parts/1.1.2\">1.1.2</a> text/html, US-ASCII, 12 octets",
          "image/png, 4 octets, <bdi>päß.png</bdi> · <a href=\"/mails/1/parts/1.2/file\">",
          "<th scope=\"row\">Received</th><td dir=\"auto\">from two</td>", "href=\"/mails/1/raw\""})
        EXPECT_THAT(page, HasSubstr(part));
    EXPECT_THAT(page, Not(HasSubstr("Defects")));
}

TEST(PageMail, LeadsToItsNeighbours) {
    const PageOf mails({"", "", ""});
    EXPECT_THAT(mails.show("/mails/1"),
                AllOf(HasSubstr("\"/mails/2\">Newer"), Not(HasSubstr("Older"))));
    EXPECT_THAT(mails.show("/mails/2"),
                AllOf(HasSubstr("\"/mails/3\">Newer"), HasSubstr("\"/mails/1\">Older")));
    EXPECT_THAT(mails.show("/mails/3"),
                AllOf(Not(HasSubstr("Newer")), HasSubstr("\"/mails/2\">Older")));
}

TEST(PageMail, HtmlIsShownAsItsSource) {
    const std::string page =
        PageOf({"Content-Type: text/html\r\n\r\n<b>bold</b>\r\n"}).show("/mails/1");
    EXPECT_THAT(page, AllOf(HasSubstr("nothing of it is run"),
                            HasSubstr(">&lt;b&gt;bold&lt;/b&gt;\n</pre>"), Not(HasSubstr("<b>"))));
}

TEST(PageMail, DefectsAreListed) {
    EXPECT_THAT(PageOf({"rubbish\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nx"})
                    .show("/mails/1"),
                AllOf(HasSubstr("<h2>Defects</h2>"), HasSubstr("<li>entity 1, octet 9: a line"),
                      HasSubstr("the multipart has no end</li>")));
}

TEST(PageMail, ManyRecipientsAreCounted) {
    PageOf mails({});
    mails.add({"s@x", std::vector<std::string>(250, "r@x"), ""});
    const std::string page = mails.show("/mails/1");
    EXPECT_EQ(countOf("&lt;r@x&gt;", page), 100U);
    EXPECT_THAT(page, HasSubstr("and 150 more"));
}

TEST(PageRaw, ShowsTheOctets) {
    EXPECT_THAT(PageOf({"Subject: =?x\r\n\r\n<a>\x01\r\n"}).show("/mails/1/raw"),
                HasSubstr(">Subject: =?x\n\n&lt;a&gt;\\x01\n</pre>"));
}

TEST(PageRaw, TheFileHasTheOctetsAsTheyCame) {
    const std::string octets("a\r\n\0\xFF<b>\n", 9);
    const page::Reply reply = PageOf({"", octets}).get("/mails/2/file");
    EXPECT_EQ(reply.body, octets);
    EXPECT_EQ(reply.type, "application/octet-stream");
    EXPECT_EQ(reply.fileName, "message-2.eml");
}

// ---- parts

TEST(PagePart, ATextIsDescribedAndShown) {
    EXPECT_THAT(PageOf({richMail}).show("/mails/1/parts/1.1.1"),
                AllOf(HasSubstr("<h1>Part number 1.1.1 of mail 1</h1>"),
                      HasSubstr(">iso-8859-1</td>"), HasSubstr(">naïve\n</pre>"),
                      HasSubstr(">quoted-printable</td>"), HasSubstr("\"/mails/1\">Mail 1</a>")));
}

TEST(PagePart, OneWithoutTextCanBeStored) {
    const std::string page = PageOf({richMail}).show("/mails/1/parts/1.2");
    EXPECT_THAT(page, AllOf(HasSubstr("\"/mails/1/parts/1.2/file\""), HasSubstr(">päß.png</td>"),
                            Not(HasSubstr("<pre"))));
}

TEST(PagePart, OneWithPartsListsThem) {
    EXPECT_THAT(PageOf({richMail}).show("/mails/1/parts/1.3"),
                AllOf(HasSubstr("href=\"/mails/1/parts/1.3.1\""), Not(HasSubstr("/1.3/file\""))));
}

TEST(PagePart, ItsFileIsTheDecodedContentUnderItsName) {
    const page::Reply reply = PageOf({richMail}).get("/mails/1/parts/1.2/file");
    EXPECT_EQ(reply.body, std::string("\0\1\2\xFF", 4));
    EXPECT_EQ(reply.type, "application/octet-stream");
    EXPECT_EQ(reply.fileName, "päß.png");
}

TEST(PagePart, AFileNameIsSafe) {
    const PageOf mails({mixed({file("../../etc/passwd", "x"), file("..", "x"),
                               "Content-Type: text/html\r\n\r\nx", file("a\\\"b\x01.png", "x")})});
    const std::pair<const char*, const char*> rows[] = {
        {"1.1", "passwd"}, {"1.2", "part-1.2.bin"}, {"1.3", "part-1.3.txt"}, {"1.4", "a\"b.png"}};
    for (const auto& [part, name] : rows)
        EXPECT_EQ(mails.get(std::string("/mails/1/parts/") + part + "/file").fileName, name);
}

// ---- what there is not

TEST(Page, WhatThereIsNotIs404WithAWayBack) {
    const PageOf mails({richMail});
    for (const char* path : {"",
                             "//",
                             "/index.html",
                             "/mails",
                             "/mails/",
                             "/mails/0",
                             "/mails/2",
                             "/mails/01",
                             "/mails/+1",
                             "/mails/1x",
                             "/mails/-1",
                             "/mails/99999999999999999999",
                             "/mails/1/",
                             "/mails/1/raw/",
                             "/mails/1/x",
                             "/mails/1/parts",
                             "/mails/1/parts/",
                             "/mails/1/parts/2",
                             "/mails/1/parts/1.4",
                             "/mails/1/parts/1.1/file",
                             "/mails/1/parts/1.2/file/",
                             "/mails/1/parts/1.2/x",
                             "/mails/1/parts/../raw",
                             "/before",
                             "/before/2",
                             "/before/x",
                             "/before/1/x",
                             "/page.css/",
                             "mails/1"}) {
        const page::Reply reply = mails.get(path);
        EXPECT_EQ(reply.status, 404) << path;
        EXPECT_THAT(reply.body, HasSubstr("<a href=\"/\">To the list of mails</a>"));
    }
}

TEST(Page, TheStyleSheetLoadsNothing) {
    const page::Reply reply = PageOf({}).get("/page.css");
    EXPECT_EQ(reply.type, "text/css; charset=utf-8");
    EXPECT_THAT(reply.body, AllOf(HasSubstr("prefers-color-scheme: dark"), Not(HasSubstr("url(")),
                                  Not(HasSubstr("@import"))));
}

// ---- mail that wants to be more than text

/// Every path of one mail that is HTML.
const std::vector<std::string> pagesOfAMail = {"/", "/mails/1", "/mails/1/raw", "/mails/1/parts/1",
                                               "/mails/1/parts/1.1"};

/// The first tag of a page that is none of ours; empty when all are.
std::string foreignTag(const std::string& page) {
    static const std::regex known(
        "<!DOCTYPE html>|</?(html|head|title|body|header|main|nav|h1|h2|p|table|thead|tbody|tr|th|"
        "td|a|pre|ul|li|section|details|summary|time|bdi|br|meta|link)"
        "( (lang|charset|name|content|rel|class|scope|dir|datetime|aria-label|data-name)="
        "\"[-A-Za-z0-9:,=./ ]*\"| href=\"/([a-z0-9][a-z0-9./]*)?\")*>");
    for (std::size_t at = page.find('<'); at != std::string::npos; at = page.find('<', at + 1)) {
        const std::string tag = page.substr(at, page.find('>', at) - at + 1);
        if (!std::regex_match(tag, known)) return tag.substr(0, 200);
    }
    return {};
}

/// The first octet that could do more than be seen; 0 when there is none.
int firstControl(const std::string& page) {
    for (const char c : page)
        if ((c >= 0 && c < ' ' && c != '\n' && c != '\t') || c == 0x7F) return c;
    return 0;
}

/// A mail that says `text` wherever a mail can say something.
sandbox::Message sayingEverywhere(const std::string& text) {
    const std::string fields = "Subject: " + text + "\r\nFrom: " + text + " <f@x>\r\nTo: " + text +
                               "\r\nDate: " + text + "\r\nX-" + text + ": " + text + "\r\n";
    return {text,
            {text},
            fields + "Content-Type: multipart/" + text + "; boundary=b; name=\"" + text +
                "\"\r\n\r\n--b\r\nContent-Type: text/html; charset=\"" + text +
                "\"\r\nContent-Disposition: attachment; filename=\"" + text + "\"\r\n" + fields +
                "\r\n" + text + "\r\n--b--\r\n"};
}

TEST(PageEscaping, NothingOfAMailIsMarkup) {
    for (const std::string& text : std::initializer_list<std::string>{
             "<script>alert(1)</script>", "</title><script src=//x></script>", "</pre><img src=x>",
             "\"><img src=x onerror=alert(1)>", "' onmouseover='x", "<!--", "]]>", "&lt;b&gt;",
             "\\\"><b>", "=?utf-8?q?=3Cb=3E=22=27?=", std::string("<b\0>", 4),
             "javascript:alert(1)"}) {
        PageOf mails({});
        mails.add(sayingEverywhere(text));
        for (const std::string& path : pagesOfAMail)
            EXPECT_EQ(foreignTag(mails.show(path)), "") << path << " " << text;
    }
}

TEST(PageEscaping, TheJudgeOfTagsSeesForeignOnes) {
    for (const char* tag : {"<script>", "<img src=\"x\">", "<a href=\"//x\">", "<a onclick=\"x\">",
                            "<a href=\"javascript:x\">", "<a href=\"/mails/1\" x='y'>", "<!--"})
        EXPECT_NE(foreignTag(std::string("<p>") + tag + "</p>"), "") << tag;
}

TEST(PageEscaping, AnAmpersandOfAMailStaysOne) {
    EXPECT_THAT(PageOf({"Subject: &amp;\r\n\r\n&lt;\r\n"}).show("/mails/1"),
                AllOf(HasSubstr(">&amp;amp;</h1>"), HasSubstr(">&amp;lt;\n</pre>")));
}

TEST(PageEscaping, ControlAndDirectionCharactersAreMadeVisible) {
    PageOf mails({});
    mails.add(sayingEverywhere("a\x1B[2J\x07\x7F\u202Etxt.exe\u202C\u0085z"));
    for (const std::string& path : pagesOfAMail) {
        const std::string page = mails.show(path);
        EXPECT_EQ(firstControl(page), 0) << path;
        for (const char* hidden : {"\xE2\x80", "\u0085"})  // U+2000 to U+203F
            EXPECT_THAT(page, Not(HasSubstr(hidden))) << path;
        EXPECT_THAT(page, HasSubstr("a\\x1B[2J\\x07\\x7F\\u202Etxt.exe\\u202C\\x85z")) << path;
    }
}

TEST(PageEscaping, WhatIsNoUtf8IsReplaced) {
    PageOf mails({});
    mails.add(sayingEverywhere("\xFF\xC0\xAF<"));
    EXPECT_THAT(mails.show("/mails/1/raw"), HasSubstr("\uFFFD"));
    for (const std::string& path : pagesOfAMail) EXPECT_EQ(foreignTag(mails.show(path)), "");
}

// ---- mail that wants to be too much

TEST(PageHostile, DeepNestingEnds) {
    std::string mail;
    for (int i = 0; i < 1000; ++i)
        mail += "Content-Type: multipart/mixed; boundary=b" + std::to_string(i) + "\r\n\r\n--b" +
                std::to_string(i) + "\r\n";
    EXPECT_THAT(PageOf({mail}).show("/mails/1"),
                AllOf(HasSubstr("<h2>Defects</h2>"), EndsWith("</html>\n"), SizeIs(Lt(1 << 20))));
}

TEST(PageHostile, ManyPartsAreCutShort) {
    const std::string page =
        PageOf({mixed(std::vector<std::string>(15'000, "\r\n"))}).show("/mails/1");
    EXPECT_THAT(page, AllOf(HasSubstr("more parts than are shown"), SizeIs(Lt(1 << 20))));
    EXPECT_EQ(countOf("<li>", page.substr(page.find("class=\"tree\""))), 500U);
}

TEST(PageHostile, ALargeMailGivesASmallPage) {
    std::string text;
    while (text.size() < 20'000'000) text += "<a line of no interest>\r\n";
    const PageOf mails({"Subject: large\r\n\r\n" + text});
    for (const char* path : {"/", "/mails/1", "/mails/1/raw"})
        EXPECT_THAT(mails.show(path), SizeIs(Lt(1 << 20))) << path;
    EXPECT_THAT(mails.show("/mails/1"), HasSubstr("Only the beginning is shown"));
    EXPECT_THAT(mails.get("/mails/1/parts/1/file").body, SizeIs(text.size()));
}

TEST(PageHostile, ManyLargeTextsGiveASmallPage) {
    const std::string page =
        PageOf({mixed(std::vector<std::string>(20, "\r\n" + std::string(200'000, '<')))})
            .show("/mails/1");
    EXPECT_EQ(countOf("<pre", page), 2U);
    EXPECT_THAT(page, AllOf(SizeIs(Lt(2 << 20)), HasSubstr("more text in the parts below")));
}

TEST(PageHostile, AHeaderWithoutEndIsReadInParts) {
    const PageOf mails({"Subject: x\r\n" + std::string(20'000'000, 'y')});
    EXPECT_THAT(mails.show("/"), HasSubstr(">x</a>"));
}

TEST(PageText, IsCutBetweenCharacters) {
    EXPECT_EQ(page::beginning("aé€", 6), "aé€");
    EXPECT_EQ(page::beginning("aé€", 5), "aé");
    EXPECT_EQ(page::beginning("aé€", 2), "a");
    EXPECT_THAT(page::beginning("é", 1), IsEmpty());
    EXPECT_EQ(page::shortened("aé€", 4), "aé…");
    EXPECT_EQ(page::shortened("aé", 3), "aé");
}

}  // namespace
