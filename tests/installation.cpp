#include "installation.h"

#include <arpa/inet.h>
#include <csignal>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace
{

sockaddr_in address_of(const std::string &text, int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, text.c_str(), &address.sin_addr);
    return address;
}

int connected(const std::string &from, const std::string &to, int port)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1; // what is said goes out at once
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const sockaddr_in own = address_of(from, 0);
    const sockaddr_in server = address_of(to, port);
    if (bind(socket, reinterpret_cast<const sockaddr *>(&own), sizeof own) != 0 ||
        connect(socket, reinterpret_cast<const sockaddr *>(&server), sizeof server) !=
            0) {
        close(socket);
        return -1;
    }
    return socket;
}

// Runs the program in the directory; its output beside it.
pid_t run(const std::string &directory, const std::vector<std::string> &prefix)
{
    std::string command = "cd " + directory + " && exec";
    for (const std::string &word : prefix) {
        command += " '" + word + "'";
    }
    command += " " QLNSMTPD " >" + directory + ".out 2>" + directory + ".err";
    const pid_t process = fork();
    if (process == 0) {
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    return process;
}

} // namespace

std::string slurp(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

int free_port()
{
    // Below the ports that the system gives to clients, who would be in the way.
    static std::mt19937 random(std::random_device{}());
    const int on = 1;
    int port = 0;
    bool found = false;
    for (int i = 0; i < 100 && !found; i++) {
        port = std::uniform_int_distribution(10000, 30000)(random);
        const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        const sockaddr_in address = address_of("0.0.0.0", port);
        found = bind(socket, reinterpret_cast<const sockaddr *>(&address),
                     sizeof address) == 0;
        close(socket);
    }
    return port;
}

bool comes_true(const std::function<bool()> &condition, int milliseconds)
{
    const auto until = Clock::now() + std::chrono::milliseconds(milliseconds);
    bool is_true = condition();
    while (!is_true && Clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        is_true = condition();
    }
    return is_true;
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
    heard_.append(bytes, count > 0 ? static_cast<size_t>(count) : 0);
    return !ended_;
}

std::string Client::hears(int milliseconds)
{
    while (heard_.find('\n') == std::string::npos && fill(milliseconds)) {
    }
    const size_t end = std::min(heard_.size(), heard_.find('\n') + 1);
    std::string line = heard_.substr(0, end == 0 ? heard_.size() : end);
    heard_.erase(0, line.size());
    return line;
}

std::string Client::hears_rest()
{
    while (fill(5000)) {
    }
    EXPECT_TRUE(ended_) << "the server has not closed";
    return std::exchange(heard_, {});
}

std::string Client::hears_within(int milliseconds)
{
    const auto until = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (Clock::now() < until && !ended_) {
        fill(5);
    }
    return std::exchange(heard_, {});
}

bool Client::is_closed(int milliseconds)
{
    while (heard_.empty() && fill(milliseconds)) {
    }
    return ended_ && heard_.empty();
}

void Client::leaves()
{
    if (socket_ >= 0) {
        close(socket_);
        socket_ = -1;
    }
}

// --- Installation

Installation::Installation() : port_(free_port())
{
    char name[] = "/tmp/qln-test-XXXXXX";
    directory_ = mkdtemp(name);
    name_ = fs::path(directory_).filename();
    for (const char *below :
         {"DATA/RAW", "LOGS", "LOG", "qlnemails", "pending", "mailin"}) {
        fs::create_directories(path(below));
    }
    settings("");
}

Installation::~Installation()
{
    if (process_ > 0) {
        EXPECT_EQ(0, stop()) << standard_error();
    }
    if (!HasFailure()) {
        fs::remove_all(directory_);
        fs::remove(directory_ + ".out");
        fs::remove(directory_ + ".err");
    }
}

void Installation::settings(const std::string &lines)
{
    settings_ = "[QLNSMTP]\r\nport=" + std::to_string(port_) + "\r\nbind=0\r\n";
    put("DATA/RAW/QLNXSERVER.DAT", settings_ + lines);
}

void Installation::put(const std::string &below, const std::string &bytes)
{
    std::ofstream(path(below), std::ios::binary) << bytes;
}

void Installation::start(const std::vector<std::string> &prefix)
{
    launch(prefix);
    int socket = -1;
    const auto serves = [&] {
        socket = connected("127.0.0.1", "127.0.0.1", port_);
        return socket >= 0;
    };
    ASSERT_TRUE(comes_true(serves)) << "the server does not serve: " << standard_error();
    Client(socket).hears();
    ASSERT_TRUE(logs("All active sessions closed"));
    forget_log();
}

void Installation::launch(const std::vector<std::string> &prefix)
{
    process_ = run(directory_, prefix);
}

int Installation::start_and_wait()
{
    const pid_t other = process_;
    launch();
    const int code = stop(0);
    process_ = other;
    return code;
}

int Installation::stop(int signal)
{
    const pid_t process = std::exchange(process_, -1);
    int status = 0;
    kill(process, signal);
    if (!comes_true([&] { return waitpid(process, &status, WNOHANG) == process; },
                    10000)) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

Client Installation::connect_from(const std::string &address, const std::string &server)
{
    return Client(connected(address, server, port_));
}

Client Installation::greeted(const std::string &address)
{
    Client client = connect_from(address);
    EXPECT_EQ("220 ", client.hears().substr(0, 4));
    EXPECT_EQ("250 ", client.asks("HELO pc").substr(0, 4));
    return client;
}

Client Installation::with_recipient(const std::string &address)
{
    Client client = greeted(address);
    EXPECT_EQ("250 OK\r\n", client.asks("MAIL FROM:<anna@firm.example>"));
    EXPECT_EQ("250 OK\r\n", client.asks("RCPT TO:<fax@firm.example>"));
    return client;
}

std::vector<std::string> Installation::log_lines(const std::string &stamp_text)
{
    static const std::regex stamp(R"(^\d\d [A-Z][a-z][a-z], \d{4} \d\d:\d\d:\d\d : )");
    const std::string log = content("LOGS/QLNSMTP.TXT");
    std::istringstream text(log.substr(std::min(log_from_, log.size())));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(std::regex_replace(line, stamp, stamp_text));
    }
    return lines;
}

bool Installation::logs(const std::string &text, int milliseconds)
{
    const auto is_logged = [&] {
        const std::vector<std::string> lines = log_lines();
        return std::any_of(lines.begin(), lines.end(), [&](const std::string &line) {
            return line.find(text) != std::string::npos;
        });
    };
    return comes_true(is_logged, milliseconds);
}

void Installation::forget_log()
{
    comes_true([] { return false; }, 5); // what follows the last line belongs to it
    log_from_ = content("LOGS/QLNSMTP.TXT").size();
}

size_t Installation::open_descriptors() const
{
    const fs::directory_iterator all("/proc/" + std::to_string(process_) + "/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

std::vector<std::string> Installation::files(const std::string &below) const
{
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(path(below))) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string Installation::spooled(const std::string &extension,
                                  const std::string &below) const
{
    std::string found;
    for (const std::string &name : files(below)) {
        if (name.ends_with(extension)) {
            EXPECT_EQ("", found) << "more than one " << extension;
            found = name;
        }
    }
    EXPECT_NE("", found) << "no " << extension;
    return content(below + "/" + found);
}

void Installation::empty_spool(const std::string &below) const
{
    for (const std::string &name : files(below)) {
        fs::remove(fs::path(path(below)) / name);
    }
}

std::string Installation::text_of(const std::string &message) const
{
    size_t at = 0;
    for (int line = 0; line < 3; line++) {
        at = message.find("\r\n", at);
        EXPECT_NE(std::string::npos, at);
        at += 2;
    }
    return message.substr(at);
}
