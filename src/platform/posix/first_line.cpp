#include "platform/first_line.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace
{

bool is_ready(int socket, short events, int milliseconds)
{
    pollfd waiting{socket, events, 0};
    return poll(&waiting, 1, milliseconds) == 1;
}

bool is_connected(int socket, uint32_t address, uint16_t port, int milliseconds)
{
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    name.sin_addr.s_addr = address != 0 ? address : htonl(INADDR_LOOPBACK);
    return connect(socket, reinterpret_cast<const sockaddr *>(&name), sizeof name) == 0 ||
           (errno == EINPROGRESS && is_ready(socket, POLLOUT, milliseconds));
}

} // namespace

bool first_line_of(uint32_t address, uint16_t port, int milliseconds, char *text,
                   int size)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (socket < 0) {
        return false;
    }
    int length = 0;
    if (is_connected(socket, address, port, milliseconds)) {
        while (length < size - 1 && is_ready(socket, POLLIN, milliseconds)) {
            const ssize_t count =
                recv(socket, text + length, static_cast<size_t>(size - 1 - length), 0);
            if (count <= 0) {
                break;
            }
            length += static_cast<int>(count);
            if (memchr(text, '\n', static_cast<size_t>(length)) != nullptr) {
                break;
            }
        }
    }
    close(socket);
    text[length] = '\0';
    return length > 0;
}
