// SPDX-License-Identifier: Apache-2.0
// Where messages are kept on disk: a Maildir, a folder of .eml files, or an mbox.
//
// A message grows under a temporary name and is taken in when all of it is synced; no file is ever
// replaced. Failure: throws Failure with the path and the reason.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <streambuf>
#include <string>

/// The folders of a store, and the names in them.
class MessageStore {
  public:
    MessageStore() = default;
    virtual ~MessageStore() = default;
    MessageStore(const MessageStore&) = delete;
    MessageStore& operator=(const MessageStore&) = delete;

    /// A path that this process has not been given before.
    virtual std::filesystem::path temporaryPath() = 0;
    /// Takes in the synced file of that path, which is gone then. Returns where the message is now,
    /// on disk.
    virtual std::filesystem::path keep(const std::string& temporary) = 0;
};

/// The Maildir `folder`; it and its tmp, new and cur are made when missing.
std::unique_ptr<MessageStore> openMaildir(const std::filesystem::path& folder);
/// The folder `folder`, made when missing; message-NNNN.eml, on from the highest number there.
std::unique_ptr<MessageStore> openFolder(const std::filesystem::path& folder);

/// The mbox `file`, made when missing.
std::unique_ptr<MessageStore> openMbox(const std::filesystem::path& file);

/// A message on its way from POP3Client::getMessage to disk. Lines of blanks alone become empty
/// lines, as the client leaves nothing at the end of the others.
class MessageFile : public std::streambuf {
  public:
    /// `store` is not owned; `moved` is told how many octets there are, time and again.
    MessageFile(MessageStore& store, std::function<void(std::size_t)> moved);
    /// Removes what has not been kept.
    ~MessageFile() override;
    MessageFile(const MessageFile&) = delete;
    MessageFile& operator=(const MessageFile&) = delete;

    /// Ends the last line, syncs the file and has the store keep it; returns where it is.
    std::filesystem::path keep();
    /// Of the file so far.
    std::size_t octets() const { return octets_; }

  protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* octets, std::streamsize count) override;

  private:
    void put(char c);
    void flush();

    MessageStore& store_;
    std::function<void(std::size_t)> moved_;
    std::string path_;
    int descriptor_ = -1;
    std::string blanks_;       // that the line began with, as long as there is nothing else
    bool isBlankLine_ = true;  // so far
    std::string buffer_;       // not written yet
    std::size_t octets_ = 0;
};

/// From now on SIGHUP, SIGINT and SIGTERM remove the temporary file before they end the program.
void removePartialFileAtEndSignals();
