// SPDX-License-Identifier: Apache-2.0
// Delivering and fetching with libcurl.
#include <curl/curl.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "bench/net/cell.h"

namespace {

struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;

struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using List = std::unique_ptr<curl_slist, ListDeleter>;

std::size_t giveSome(char* to, std::size_t size, std::size_t count, void* left) {
    auto& mail = *static_cast<std::string_view*>(left);
    const std::size_t length = std::min(size * count, mail.size());
    std::memcpy(to, mail.data(), length);
    mail.remove_prefix(length);
    return length;
}

std::size_t takeSome(char* octets, std::size_t size, std::size_t count, void* to) {
    static_cast<std::string*>(to)->append(octets, size * count);
    return size * count;
}

void perform(const Easy& easy) {
    const CURLcode result = curl_easy_perform(easy.get());
    if (result != CURLE_OK) throw std::runtime_error(curl_easy_strerror(result));
}

std::string address(const char* scheme, std::uint16_t port) {
    return std::string(scheme) + "://127.0.0.1:" + std::to_string(port) + '/';
}

class CurlClient : public NetClient {
  public:
    CurlClient() { curl_global_init(CURL_GLOBAL_NOTHING); }
    ~CurlClient() override { curl_global_cleanup(); }

    void deliver(std::uint16_t port, const std::string& mail) override {
        const Easy easy(curl_easy_init());
        const List recipients(curl_slist_append(nullptr, "<staff@example.org>"));
        std::string_view left = mail;
        curl_easy_setopt(easy.get(), CURLOPT_URL, address("smtp", port).c_str());
        curl_easy_setopt(easy.get(), CURLOPT_MAIL_FROM, "<monitor@example.org>");
        curl_easy_setopt(easy.get(), CURLOPT_MAIL_RCPT, recipients.get());
        curl_easy_setopt(easy.get(), CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(easy.get(), CURLOPT_READFUNCTION, giveSome);
        curl_easy_setopt(easy.get(), CURLOPT_READDATA, &left);
        perform(easy);
    }

    void fetch(std::uint16_t port, int count, const Take& take) override {
        const Easy easy(curl_easy_init());
        curl_easy_setopt(easy.get(), CURLOPT_USERNAME, "staff");
        curl_easy_setopt(easy.get(), CURLOPT_PASSWORD, "secret");
        curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, takeSome);
        const std::string mailbox = address("pop3", port);
        for (int number = 1; number <= count; ++number) {
            mail_.clear();
            curl_easy_setopt(easy.get(), CURLOPT_URL, (mailbox + std::to_string(number)).c_str());
            curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &mail_);
            perform(easy);
            take(mail_);
        }
    }

  private:
    std::string mail_;
};

}  // namespace

int main(int argc, char** argv) {
    CurlClient client;
    return runNetCell(argc, argv, client);
}
