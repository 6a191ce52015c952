// SPDX-License-Identifier: Apache-2.0
// Settings, recipients and delivery of one notification mail.
//
// Sections: settings, recipients and text, delivery.
#include "inet/admailmsg.utf16.h"

#include <exception>
#include <sstream>

#include "inet/smtpclient.utf16.h"

namespace {

const Zeb_String hostKey(u"SMTPHost");
const Zeb_String senderAddressKey(u"ReplyTo");
const Zeb_String senderNameKey(u"RealName");
const Zeb_String sendActiveKey(u"SendActive");
const Zeb_String charsetKey(u"Charset");

/// The one protocol that settings can name.
constexpr char16_t protocol[] = u"SMTP";

Zeb_String settingsLocation() {
    Zeb_String location;
    Sov_Settings::Get_Pathname(location, Hux_Dir_Table::Get(Hux_Dir_Table::settings), nullptr,
                               u"SendMail", nullptr, nullptr, 0);
    return location;
}

/// One transaction; true when every recipient was accepted and the message taken.
bool deliverToAll(SMTPClient& client, const Zeb_String& sender, const CStringArray& recipients,
                  std::istream& message) {
    if (recipients.GetSize() == 0) return true;
    message.clear();
    message.seekg(0);
    return client.deliver(sender, recipients, message) ==
           static_cast<unsigned>(recipients.GetSize());
}

}  // namespace

AdMailMsg::AdMailMsg()
    : location_(settingsLocation()), headerRecipients_(10, 1), blindRecipients_(10, 1) {
    applyCharsetSetting();
}

AdMailMsg::~AdMailMsg() = default;

// ==== settings

bool AdMailMsg::setSetting(const Zeb_String& key, const Zeb_String& value) {
    Zeb_Condition condition;
    Sov_Settings::Add_Setting(condition, location_, key, value);
    return !condition.HasError();
}

Zeb_String AdMailMsg::getSetting(const Zeb_String& key) const {
    Zeb_Condition ignored;
    Zeb_String* value = nullptr;
    return Sov_Settings::Get_Setting(ignored, location_, key, value) ? *value : Zeb_String();
}

void AdMailMsg::SetSendActive(int active) { setSetting(sendActiveKey, active != 0 ? u"1" : u"0"); }

int AdMailMsg::GetSendActive() const { return getSetting(sendActiveKey) == u"1" ? 1 : 0; }

bool AdMailMsg::SetMailNotificationSettings(const CStringArray& settings) {
    const int count = settings.GetSize();
    if (count < 5 || count > 6 || settings[0].CompareNoCase(protocol) != 0) return false;
    bool allStored = setSetting(hostKey, settings[1]);
    allStored &= setSetting(senderAddressKey, settings[2]);
    allStored &= setSetting(senderNameKey, settings[3]);
    allStored &= setSetting(sendActiveKey, settings[4]);
    allStored &= setSetting(charsetKey, count == 6 ? settings[5] : Zeb_String());
    return allStored;
}

CStringArray& AdMailMsg::GetMailNotificationSettings(CStringArray& settings) const {
    settings.Add(protocol);
    for (const Zeb_String* key :
         {&hostKey, &senderAddressKey, &senderNameKey, &sendActiveKey, &charsetKey})
        settings.Add(getSetting(*key));
    return settings;
}

void AdMailMsg::applyCharsetSetting() {
    const Zeb_String name = getSetting(charsetKey);
    if (!name.IsEmpty()) message_.setCharset(AdCharset(name));
}

// ==== recipients and text

void AdMailMsg::SetOverrideFrom(const Zeb_String& address) { overrideSender_ = address; }

void AdMailMsg::AddTo(const Zeb_String& address) {
    headerRecipients_.Add(address);
    message_.addTo(address, {});
}

void AdMailMsg::AddTo(const CStringArray& addresses) {
    for (int i = 0; i < addresses.GetSize(); ++i) AddTo(addresses[i]);
}

void AdMailMsg::AddCc(const Zeb_String& address) {
    headerRecipients_.Add(address);
    message_.addCc(address, {});
}

void AdMailMsg::AddCc(const CStringArray& addresses) {
    for (int i = 0; i < addresses.GetSize(); ++i) AddCc(addresses[i]);
}

void AdMailMsg::AddBcc(const Zeb_String& address) { blindRecipients_.Add(address); }

void AdMailMsg::AddBcc(const CStringArray& addresses) {
    for (int i = 0; i < addresses.GetSize(); ++i) AddBcc(addresses[i]);
}

void AdMailMsg::SetSubject(const Zeb_String& subject) { message_.setSubject(subject); }

void AdMailMsg::SetBody(const Zeb_String& text) { message_.setBody(text); }

void AdMailMsg::MoreBody(const Zeb_String& text) { message_.appendBody(text); }

void AdMailMsg::ClearAll() {
    overrideSender_.Make_Empty();
    headerRecipients_.Make_Empty();
    blindRecipients_.Make_Empty();
    message_ = RFC2822Encoder();
    message_.setCharset(AdCharset::getUTF8Charset());  // the assignment leaves it as it was
    applyCharsetSetting();
}

// ==== delivery

/// The address for envelope and header; the header's is set with the name that goes with it.
Zeb_String AdMailMsg::chooseSender() {
    const bool isOverridden = !overrideSender_.IsEmpty();
    const Zeb_String address = isOverridden ? overrideSender_ : getSetting(senderAddressKey);
    message_.setSender(address, isOverridden ? Zeb_String() : getSetting(senderNameKey));
    return address;
}

int AdMailMsg::Deliver() {
    try {
        // Kept: a delivery succeeds while sending is switched off, as the host expects.
        if (GetSendActive() == 0) return 1;
        const Zeb_String sender = chooseSender();
        if (headerRecipients_.GetSize() == 0 && blindRecipients_.GetSize() == 0) return 1;
        return deliverFrom(sender) ? 1 : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

bool AdMailMsg::deliverFrom(const Zeb_String& sender) {
    SMTPClient client;
    if (!client.open(getSetting(hostKey))) return false;
    std::stringstream message;
    message_.getData(client.isExtensionSupported(u"8BITMIME"), message);
    if (!message.good()) return false;  // out of memory: better no mail than half of one
    const bool toHeader = deliverToAll(client, sender, headerRecipients_, message);
    const bool toBlind = deliverToAll(client, sender, blindRecipients_, message);
    client.close();
    return toHeader && toBlind;
}
