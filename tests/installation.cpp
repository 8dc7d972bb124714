#include "installation.h"
#include "base/settings.h"
#include "platform/file_contents.h"

#include <arpa/inet.h>
#include <csignal>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>
#include <thread>

using Clock = std::chrono::steady_clock;

// Calls `bind` or `connect`.
template <class Call>
static int at_address(Call call, int socket, const std::string &text, int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, text.c_str(), &address.sin_addr);
    return call(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

std::string content(const std::string &path)
{
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

int free_port()
{
    // Below the ports that the system gives to clients, who would be in the way.
    static std::mt19937 random(std::random_device{}());
    int port = 0;
    int taken = -1;
    while (taken != 0) {
        port = std::uniform_int_distribution(10000, 30000)(random);
        const Client bound(socket(AF_INET, SOCK_STREAM, 0));
        taken = at_address(bind, bound.socket(), "0.0.0.0", port);
    }
    return port;
}

bool comes_true(const std::function<bool()> &condition, int milliseconds)
{
    const auto until = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (!condition()) {
        if (Clock::now() >= until) {
            return false;
        }
        sleep_ms(5);
    }
    return true;
}

void sleep_ms(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::string copies(size_t count, const std::string &text)
{
    std::string all;
    while (count-- > 0) {
        all += text;
    }
    return all;
}

// --- Client

bool Client::says(const std::string &bytes)
{
    return send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

bool Client::fill(int milliseconds)
{
    pollfd ready{socket_, POLLIN, 0};
    if (ended_ || poll(&ready, 1, milliseconds) <= 0) {
        return false;
    }
    char bytes[4096];
    const ssize_t count = recv(socket_, bytes, sizeof bytes, 0);
    ended_ = count <= 0;
    was_reset_ = count < 0;
    heard_.append(bytes, count > 0 ? static_cast<size_t>(count) : 0);
    return !ended_;
}

std::string Client::hears(int milliseconds)
{
    size_t end = 0;
    while ((end = heard_.find('\n') + 1) == 0 && fill(milliseconds)) {
    }
    std::string line = heard_.substr(0, end == 0 ? heard_.size() : end);
    heard_.erase(0, line.size());
    return line;
}

std::string Client::hears_lines(int count)
{
    std::string lines;
    while (count-- > 0 && (lines.empty() || lines.ends_with('\n'))) {
        lines += hears();
    }
    return lines;
}

std::string Client::hears_rest()
{
    while (fill(5000)) {
    }
    EXPECT_TRUE(ended_) << "the server has not closed";
    return std::exchange(heard_, {});
}

bool Client::is_closed(int milliseconds)
{
    while (heard_.empty() && fill(milliseconds)) {
    }
    return ended_ && !was_reset_ && heard_.empty();
}

// --- Installation

Installation::Installation() : port_(free_port())
{
    char name[] = "/tmp/qln-test-XXXXXX";
    directory_ = mkdtemp(name);
    fs::current_path(directory_);
    file_contents_invalidate();
    settings_locate();
    for (const char *below :
         {"DATA/RAW", "LOGS", "LOG", "qlnemails", "pending", "mailin"}) {
        fs::create_directories(below);
    }
    settings("");
}

Installation::~Installation()
{
    if (process_ > 0) {
        EXPECT_EQ(0, stop()) << content("stderr");
    }
    fs::current_path("/");
    if (!HasFailure()) {
        fs::remove_all(directory_);
    }
}

void Installation::settings(const std::string &lines)
{
    put(SETTINGS,
        "[QLNSMTP]\r\nport=" + std::to_string(port_) + "\r\nbind=0\r\n" + lines);
}

void Installation::put(const std::string &below, const std::string &bytes)
{
    std::ofstream(path(below), std::ios::binary) << bytes;
    file_contents_invalidate();
}

void Installation::start(const Lines &prefix)
{
    launch(prefix);
    ASSERT_TRUE(comes_true([this] { return greets(); }))
        << "the server does not serve: " << content("stderr");
    all_closed();
    forget_log();
}

void Installation::launch(const Lines &prefix)
{
    std::string command = "exec";
    for (const std::string &word : prefix) {
        command += " '" + word + "'";
    }
    command += " " QLNSMTPD " >stdout 2>stderr";
    process_ = fork();
    if (process_ == 0) {
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
}

int Installation::start_and_wait(const Lines &prefix)
{
    const pid_t other = process_;
    launch(prefix);
    const int code = stop(0);
    process_ = other;
    return code;
}

int Installation::stop(int signal)
{
    const pid_t process = std::exchange(process_, -1);
    int status = 0;
    kill(process, signal);
    const auto has_ended = [&] { return waitpid(process, &status, WNOHANG) == process; };
    if (!comes_true(has_ended, 10000)) {
        kill(process, SIGKILL);
        waitpid(process, &status, 0);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

size_t Installation::open_descriptors() const
{
    const fs::directory_iterator all("/proc/" + std::to_string(process_) + "/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

Client Installation::connect_from(const std::string &address,
                                  const std::string &server) const
{
    Client client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1; // what is said goes out at once
    setsockopt(client.socket(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (at_address(bind, client.socket(), address, 0) != 0 ||
        at_address(connect, client.socket(), server, port_) != 0) {
        client.leaves();
    }
    return client;
}

Client Installation::greeted(const std::string &address) const
{
    Client client = connect_from(address);
    EXPECT_EQ("220 ", client.hears().substr(0, 4));
    EXPECT_EQ("250 ", client.asks("HELO pc").substr(0, 4));
    return client;
}

Client Installation::with_recipient(const std::string &address) const
{
    Client client = greeted(address);
    EXPECT_EQ(OK, client.asks("MAIL FROM:<anna@firm.example>"));
    EXPECT_EQ(OK, client.asks("RCPT TO:<fax@firm.example>"));
    return client;
}

Lines Installation::log_lines() const
{
    const std::string log = content(LOG);
    std::istringstream text(log.substr(std::min(log_from_, log.size())));
    Lines lines;
    for (std::string line; std::getline(text, line);) {
        int stamp = 0; // length of "05 Jan, 2005 14:03:09 : "
        sscanf(line.c_str(),
               "%*2[0-9] %*3[A-Za-z], %*4[0-9] %*2[0-9]:%*2[0-9]:%*2[0-9] :%n", &stamp);
        const size_t begin = stamp == 23 ? std::min(line.size(), size_t{24}) : 0;
        lines.push_back(line.substr(begin, line.find_last_not_of('\r') + 1 - begin));
    }
    return lines;
}

long Installation::times_logged(const std::string &text) const
{
    const Lines lines = log_lines();
    return std::count_if(lines.begin(), lines.end(), [&](const std::string &line) {
        return line.find(text) != std::string::npos;
    });
}

void Installation::forget_log()
{
    sleep_ms(5); // what follows the last line belongs to it
    log_from_ = content(LOG).size();
}

Lines Installation::files(const std::string &below) const
{
    Lines names;
    for (const auto &entry : fs::directory_iterator(path(below))) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string Installation::spooled(const std::string &extension,
                                  const std::string &below) const
{
    Lines found = files(below);
    std::erase_if(found, [&](const auto &name) { return !name.ends_with(extension); });
    EXPECT_EQ(1U, found.size()) << extension;
    return found.empty() ? "" : content(below + "/" + found.front());
}

void Installation::empty_spool(const std::string &below) const
{
    for (const std::string &name : files(below)) {
        fs::remove(fs::path(path(below)) / name);
    }
}

std::string Installation::text_of(const std::string &message)
{
    std::smatch headers;
    EXPECT_TRUE(std::regex_search(message, headers, std::regex("^(.*\r\n){3}"),
                                  std::regex_constants::match_continuous));
    return headers.suffix();
}
