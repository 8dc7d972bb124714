#include "platform/posix/official_name.h"

#include <netdb.h>
#include <sys/socket.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

namespace
{

constexpr std::chrono::seconds LIMIT{2};

std::string official_name_of(const std::string &name)
{
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *list = nullptr;
    if (getaddrinfo(name.c_str(), nullptr, &hints, &list) != 0) {
        return {};
    }
    const std::string official = list->ai_canonname != nullptr ? list->ai_canonname : "";
    freeaddrinfo(list);
    return official;
}

} // namespace

bool find_official_name(const char *name, char *official, int size)
{
    // The resolver cannot be told to hurry: one that does not answer is left to itself.
    const auto answer = std::make_shared<std::promise<std::string>>();
    std::future<std::string> found = answer->get_future();
    try {
        std::thread([answer, asked = std::string(name)] {
            try {
                answer->set_value(official_name_of(asked));
            } catch (...) {
                answer->set_value({});
            }
        }).detach();
    } catch (const std::system_error &) {
        return false;
    }
    if (found.wait_for(LIMIT) != std::future_status::ready) {
        return false;
    }
    const std::string text = found.get();
    if (text.empty() || text.size() >= static_cast<size_t>(size)) {
        return false;
    }
    official[text.copy(official, text.size())] = '\0';
    return true;
}
