// SPDX-License-Identifier: Apache-2.0
#include "tests/exhaust/jobs.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <utility>

#include "inet/admailmsg.utf16.h"
#include "inet/guardedmessage.utf16.h"
#include "inet/pop3client.utf16.h"
#include "inet/smtpclient.utf16.h"
#include "sandbox/server.h"
#include "tests/exhaust/allocation_faults.h"
#include "tests/support/private_network.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"
#include "tests/unit/entitydecoder/entity_fixtures.h"
#include "tests/unit/host/scoped_environment.h"
#include "tests/unit/host/settings_folder.h"

namespace {

/// Surroundings of a job, whose memory does not count.
template <typename Thing>
class Uncounted {
  public:
    template <typename... Arguments>
    explicit Uncounted(const Arguments&... arguments) {
        const NotCounted notCounted;
        thing_ = std::make_unique<Thing>(arguments...);
    }
    ~Uncounted() {
        const NotCounted notCounted;
        thing_.reset();
    }
    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;

    Thing* operator->() const { return thing_.get(); }

  private:
    std::unique_ptr<Thing> thing_;
};

using Server = Uncounted<sandbox::Server>;

sandbox::ServerOptions onAnyPort() { return {.address = privateAddress()}; }

// ---- sending

/// A message without the one field that differs from time to time.
std::string withoutDate(const sandbox::Message& message) {
    std::string text = message.sender + '\n';
    for (const std::string& recipient : message.recipients) text += recipient + '\n';
    text += message.data;
    const std::size_t date = text.find("\r\nDate: ");
    return date != std::string::npos ? text.erase(date, text.find("\r\n", date + 2) - date) : text;
}

/// A job that sends the same mails each time.
class SendingJob : public Job {
  public:
    SendingJob(const sandbox::ServerOptions& options, std::size_t mailsOfOneRun)
        : server_(options), mailsOfOneRun_(mailsOfOneRun) {}

    std::string result() override {
        const std::vector<sandbox::Message> messages = server_->messages();
        if (messages.size() < mailsOfOneRun_) return "no mail";
        std::string text;
        for (std::size_t i = messages.size() - mailsOfOneRun_; i < messages.size(); ++i)
            text += withoutDate(messages[i]);
        return text;
    }

    /// A mail that a server has taken stays with it.
    std::string damage(const std::string& whole) override {
        for (const sandbox::Message& message : server_->messages()) {
            const std::string text = withoutDate(message);
            if (whole.find(text) == std::string::npos) return "this mail was sent: " + text;
        }
        return "";
    }

  protected:
    std::uint16_t smtpPort() const { return server_->smtpPort(); }

  private:
    const Server server_;
    const std::size_t mailsOfOneRun_;
};

/// An encoder's message, sent by a client.
class ClientJob : public SendingJob {
  public:
    ClientJob(const Zeb_String& body, bool eightBit)
        : SendingJob(onAnyPort(), 1),
          eightBit_(eightBit),
          host_(wide(privateAddress())),
          port_(wide(std::to_string(smtpPort()))) {
        message_.setSender(u"joe@here", u"J\u00F6");
        message_.addTo(u"ann@there", {});
        message_.addCc(u"bob@there", u"Bob");
        message_.setSubject(u"longer than one encoded word: \u20AC \u20AC \u20AC \u20AC");
        message_.setBody(body);
        recipients_.Add(u"ann@there");
        recipients_.Add(u"Bob <bob@there>");
    }

    bool run() override {
        client_.close();
        std::stringstream octets;
        message_.getData(eightBit_, octets);
        if (!octets.good() || !client_.open(host_, port_.GetBuffer())) return false;
        const unsigned accepted = client_.deliver(u"joe@here", recipients_, octets);
        client_.close();
        return accepted == 2;
    }

  private:
    const bool eightBit_;
    const Zeb_String host_;
    const Zeb_String port_;
    RFC2822Encoder message_;
    CStringArray recipients_;
    SMTPClient client_;
};

/// A connection on which so many lines are exchanged.
std::map<Call, long> callsOfConnections(long lines) {
    return {{Call::Socket, 1},   {Call::Connect, 1},  {Call::Setsockopt, 1},
            {Call::Send, lines}, {Call::Recv, lines}, {Call::Close, 1}};
}

JobKind clientJob(const std::string& encoding, const std::string& body) {
    const auto make = [encoding, body] {
        return std::make_unique<ClientJob>(wide(body), encoding == "8bit");
    };
    return {.name = "Send_" + encoding,
            .make = make,
            .fewestAllocations = 120,
            .fewestCalls = callsOfConnections(8)};
}

/// Without 8BITMIME: a client that could not keep the extensions would use another encoding.
sandbox::ServerOptions withoutExtensions() {
    sandbox::ServerOptions options = onSmtpPort();
    options.ehloLines.clear();
    return options;
}

/// On a file system in memory, where there is one: syncs of a disk would take most of the time.
struct QuickSite {
    const ScopedEnvironment inMemory{
        "TMPDIR", std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp"};
    const Site site;
};

/// The whole way, from the settings on; with a charset that ICU converts.
class DeliverJob : public SendingJob {
  public:
    DeliverJob() : SendingJob(withoutExtensions(), 2) {
        Site::set(u"Charset", "koi8-r");
        mail_.ClearAll();  // takes on the charset
        mail_.AddTo(u"ann@there");
        mail_.AddBcc(u"bob@there");
        mail_.SetSubject(u"\u041F\u0440\u0438\u0432\u0435\u0442");
        mail_.SetBody(u"\u041F\u0440\u0438\u0432\u0435\u0442,\n\u043C\u0438\u0440\n.\n");
    }

    bool run() override { return mail_.Deliver() == 1; }

  private:
    const Uncounted<QuickSite> site_;  // the environment keeps what it was given
    AdMailMsg mail_;
};

// ---- fetching

class FetchJob : public Job {
  public:
    FetchJob() : port_(wide(std::to_string(server_->pop3Port()))) {
        const NotCounted notCounted;
        for (int i = 0; i < 4; ++i)
            server_->addMessage("Subject: a\r\n\r\n" + lines() + ".end\r\n");
    }

    bool run() override {
        client_.close();
        std::ostringstream out;
        const bool isFetched = client_.open(host_, port_.GetBuffer()) &&
                               client_.auth_pass(u"joe", u"a password of some length") &&
                               client_.countMessages() > 1 && client_.getMessage(1, out) &&
                               client_.deleteMessage(2);
        client_.close();
        if (!isFetched || !out.good()) return false;
        fetched_ = std::move(out).str();
        return true;
    }
    std::string result() override { return fetched_; }

  private:
    static std::string lines() { return repeated("a line that is not short\r\n\r\n", 100); }

    const Zeb_String host_ = wide(privateAddress());
    const Server server_{onAnyPort()};
    const Zeb_String port_;
    POP3Client client_;
    std::string fetched_;
};

// ---- decoding

/// A text, an attachment in each transfer encoding, and a message within the message.
std::string message() {
    return crlf(
        "From: =?koi8-r?B?8NLJ18XU?= <joe@here>\n"
        "To: Ann <ann@there>,\n bob@there\n"
        "Subject: =?UTF-8?Q?a_subject_of_some_length?= =?koi8-r?B?8NLJ18XU?=\n"
        "Content-Type: multipart/mixed; boundary=outer\n\n"
        "--outer\nContent-Type: text/plain; charset=koi8-r\n"
        "Content-Transfer-Encoding: quoted-printable\n\n=F0=D2=C9=D7=C5=D4 and more than that\n"
        "--outer\nContent-Type: application/octet-stream; name*0=a-name-in;\n name*1=-two-parts\n"
        "Content-Transfer-Encoding: base64\n\nQmluYXJ5IG9jdGV0cyBvZiBzb21lIGxlbmd0aA==\n"
        "--outer\nContent-Type: message/rfc822\n\n"
        "Subject: within\nContent-Type: multipart/alternative; boundary=inner\n\n"
        "--inner\n\na text of the message within\n"
        "--inner\nContent-Type: text/html; charset=utf-8\n\n<p>the same</p>\n--inner--\n\n"
        "--outer--\n");
}

/// What a program asks of a message that it shows.
class DecodingJob : public Job {
  public:
    std::string result() override { return shown_; }

  protected:
    std::istream& rewound() {
        text_.clear();
        text_.seekg(0);
        return text_;
    }

    void show(const RFC2822Decoder& mail) {
        std::string shown = utf8(mail.getSubject()) + '\n' + utf8(mail.getSender().getName());
        for (const RFC2822Address& address : mail.getTo())
            shown += '\n' + utf8(address.getName()) + '<' + utf8(address.getSMTPAddress());
        MIMEDecoder& entity = *mail.getMessageEntity();
        if (entity.isMultipart())
            for (MIMEDecoder* part : partsOf(entity)) showPart(*part, shown);
        shown_ = shown + '\n' + dump(mail);
    }

  private:
    static void showPart(MIMEDecoder& part, std::string& shown) {
        if (part.isText()) shown += '\n' + textOf(part);
        const MIMEHeaderValue type = part.getMIMEHeader(u"Content-Type", "");
        shown += '\n' + utf8(type.getParameter(u"name", u""));
    }

    std::istringstream text_{message()};
    std::string shown_;
};

class PlainDecodingJob : public DecodingJob {
  public:
    bool run() override {
        const LossExpected notReported;
        std::unique_ptr<MIMEDecoder, ReleaseTree> mail(new RFC2822Decoder(rewound()));
        show(asMessage(*mail));
        return true;
    }
};

long memoryOfPlainTree() {
    std::istringstream in(message());
    const AllocationCount count;
    const std::unique_ptr<MIMEDecoder, ReleaseTree> mail(new RFC2822Decoder(in));
    return AllocationCount::live();
}

class GuardedDecodingJob : public DecodingJob {
  public:
    bool run() override {
        const GuardedMessage mail(rewound());
        if (mail.getDefectCount() != 0) return false;
        show(mail.getMessage());
        return true;
    }
};

// ---- settings

constexpr char oldSettings[] = "# a comment\nCharset = utf-8\nRealName = \"the old\\nname\"\n";

class ReadingJob : public Job {
  public:
    ReadingJob() { folder_.setOctets(oldSettings); }

    bool run() override {
        Zeb_Condition condition;
        Zeb_String* value = nullptr;
        const bool isFound = Sov_Settings::Get_Setting(condition, location_, u"RealName", value);
        if (!isFound || condition.HasError()) return false;
        found_ = utf8(*value);
        return true;
    }
    std::string result() override { return found_; }

  private:
    const SettingsFolder folder_;
    const Zeb_String location_ = folder_.location();
    std::string found_;
};

class WritingJob : public Job {
  public:
    WritingJob() { folder_.setOctets(oldSettings); }

    bool run() override {
        Zeb_Condition condition;
        Sov_Settings::Add_Setting(condition, location_, u"RealName", u"a new\nname");
        return !condition.HasError();
    }
    std::string result() override { return folder_.octets(); }
    std::string damage(const std::string& whole) override {
        const std::string octets = folder_.octets();
        return octets == whole || octets == oldSettings ? "" : "the file is damaged: " + octets;
    }

  private:
    const SettingsFolder folder_;
    const Zeb_String location_ = folder_.location();
};

/// The first write of all: folder and file are made.
class FirstWritingJob : public Job {
  public:
    bool run() override {
        Zeb_Condition condition;
        Sov_Settings::Add_Setting(condition, location_, u"RealName", u"a name");
        return !condition.HasError();
    }
    std::string result() override {
        return lookUp(location_, u"RealName").value == u"a name" ? "stored" : "lost";
    }

  private:
    const SettingsFolder folder_;
    const Zeb_String location_ = wide((folder_.path() / "a" / "b" / "SendMail.conf").string());
};

const std::map<Call, long> callsOfReading = {
    {Call::Open, 1}, {Call::Fstat, 1}, {Call::Read, 1}, {Call::Close, 1}};

const std::map<Call, long> callsOfWriting = {
    {Call::Open, 3},   {Call::Lstat, 1},  {Call::Flock, 1},  {Call::Fstat, 1},  {Call::Read, 1},
    {Call::Access, 1}, {Call::Write, 1},  {Call::Fchown, 1}, {Call::Fchmod, 1}, {Call::Fsync, 2},
    {Call::Close, 3},  {Call::Unlink, 1}, {Call::Rename, 1}};

template <typename Kind>
std::unique_ptr<Job> makeJob() {
    return std::make_unique<Kind>();
}

}  // namespace

const std::vector<JobKind>& allJobs() {
    static const std::vector<JobKind> jobs = {
        clientJob("7bit", repeated("a line of plain text\n.\n", 100)),
        clientJob("8bit", repeated("a line with \u20AC\n.\n", 100)),
        clientJob("quoted-printable", repeated("a line with \u20AC in it, and more\n.\n", 100)),
        clientJob("base64", repeated("\u20AC\u20AC\u20AC\u20AC\n.\n", 100)),
        // Kept: settings that cannot be read are empty ones, and sending is off then.
        {.name = "Deliver",
         .make = makeJob<DeliverJob>,
         .fewestAllocations = 200,
         .fewestCalls = callsOfConnections(10),
         .unnoticed = {Call::Open, Call::Read, Call::Fstat}},
        {.name = "Fetch",
         .make = makeJob<FetchJob>,
         .fewestAllocations = 50,
         .fewestCalls = callsOfConnections(6)},
        {.name = "DecodePlain",
         .make = makeJob<PlainDecodingJob>,
         .fewestAllocations = 100,
         .mostLost = memoryOfPlainTree},
        {.name = "DecodeGuarded", .make = makeJob<GuardedDecodingJob>, .fewestAllocations = 100},
        {.name = "ReadSettings",
         .make = makeJob<ReadingJob>,
         .fewestAllocations = 10,
         .fewestCalls = callsOfReading},
        {.name = "WriteSettings",
         .make = makeJob<WritingJob>,
         .fewestAllocations = 30,
         .fewestCalls = callsOfWriting},
        {.name = "WriteFirstSettings",
         .make = makeJob<FirstWritingJob>,
         .fewestAllocations = 30,
         .fewestCalls = {{Call::Mkdir, 2}, {Call::Fsync, 2}, {Call::Rename, 1}}},
    };
    return jobs;
}

std::string nameOfJob(const testing::TestParamInfo<JobKind>& kind) {
    std::string name = kind.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}
