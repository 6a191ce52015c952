// SPDX-License-Identifier: Apache-2.0
// One notification mail, and the mail settings of the site.
//
// The front door of the library: fill an AdMailMsg, call Deliver. One thread at a time per object;
// the settings are shared by all objects and processes through the host's settings store.
// Failure: results only; host exceptions that do not derive from std::exception pass through.
#pragma once

#include "host/host.h"
#include "inet/api.h"
#include "inet/rfc2822encoder.utf16.h"

/// A mail under construction, and the way to the settings; see the top of the file.
class VTINETLIB_API AdMailMsg {
  public:
    /// No recipients, no text; the charset is the "Charset" setting when there is one.
    AdMailMsg();
    ~AdMailMsg();

    // Settings: "SMTPHost", "ReplyTo" (sender address), "RealName" (sender name), "SendActive"
    // ("1" is on), "Charset".

    /// True when the value was stored.
    bool setSetting(const Zeb_String& key, const Zeb_String& value);
    /// The stored value; empty when there is none or it cannot be read.
    Zeb_String getSetting(const Zeb_String& key) const;

    /// Stores "1", or "0" for 0.
    void SetSendActive(int active);
    /// 1 when the stored text is exactly "1", else 0.
    int GetSendActive() const;

    /// Stores all settings: "SMTP" (any case), SMTPHost, ReplyTo, RealName, SendActive and, if
    /// there is a sixth entry, Charset (emptied otherwise). False, and nothing stored, for an array
    /// of another shape; false when one of the writes failed, the others are made all the same.
    /// A new charset counts for objects built or cleared afterwards.
    bool SetMailNotificationSettings(const CStringArray& settings);
    /// Appends the six entries to `settings` and returns it.
    CStringArray& GetMailNotificationSettings(CStringArray& settings) const;

    // The mail.

    /// Sends as `address`, without a name, instead of "ReplyTo" and "RealName".
    void SetOverrideFrom(const Zeb_String& address);
    /// One more recipient, by address.
    void AddTo(const Zeb_String& address);
    /// The same for each of `addresses`.
    void AddTo(const CStringArray& addresses);
    /// One more recipient of a copy.
    void AddCc(const Zeb_String& address);
    /// The same for each of `addresses`.
    void AddCc(const CStringArray& addresses);
    /// Blind: in no header, and sent in a transaction of its own.
    void AddBcc(const Zeb_String& address);
    /// The same for each of `addresses`.
    void AddBcc(const CStringArray& addresses);
    /// See RFC2822Encoder::setSubject for what happens to long subjects.
    void SetSubject(const Zeb_String& subject);
    /// Replaces the text of the mail.
    void SetBody(const Zeb_String& text);
    /// Adds to its end.
    void MoreBody(const Zeb_String& text);
    /// Back to a freshly built object; the settings stay.
    void ClearAll();

    /// Sends the mail over one connection to port "smtp" of "SMTPHost": to the To and Cc
    /// recipients, then to the Bcc recipients. 1 when sending is switched off, when there are no
    /// recipients, or when every recipient was accepted and every transaction succeeded; else 0
    /// (the others may have got the mail). Reasons go to the diagnostics. Throws nothing that
    /// derives from std::exception. May be called again.
    int Deliver();

  private:
    VTINETLIB_HIDDEN Zeb_String chooseSender();
    VTINETLIB_HIDDEN bool deliverFrom(const Zeb_String& sender);
    VTINETLIB_HIDDEN void applyCharsetSetting();

    Zeb_String location_;
    Zeb_String overrideSender_;
    CStringArray headerRecipients_;
    CStringArray blindRecipients_;
    RFC2822Encoder message_;
};
