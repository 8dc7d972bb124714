#include "base/sessions.h"

#include "base/session.h"

#include "platform/clock.h"
#include "platform/memory.h"
#include "platform/secrets.h"

#include <algorithm>
#include <cassert>
#include <new>
#include <vector>

namespace
{

struct RecordList {
    ClientSession *head, *tail;
};

RecordList active;
RecordList spare;

// Active records by socket number; sockets are small numbers here.
std::vector<ClientSession *> by_socket;

void append(RecordList &list, ClientSession *session, SessionList name)
{
    assert(session->list == ON_NO_LIST);
    session->list = name;
    session->next = nullptr;
    session->prev = list.tail;
    (list.tail != nullptr ? list.tail->next : list.head) = session;
    list.tail = session;
}

void unlink(RecordList &list, ClientSession *session)
{
    (session->prev != nullptr ? session->prev->next : list.head) = session->next;
    (session->next != nullptr ? session->next->prev : list.tail) = session->prev;
    session->list = ON_NO_LIST;
}

void free_list(RecordList &list)
{
    ClientSession *following = nullptr;
    for (ClientSession *session = list.head; session != nullptr; session = following) {
        following = session->next;
        delete session;
    }
    list = {};
}

// The number may be a newer session's by now: its entry is cleared only when it is still
// this one's.
void forget_socket(const ClientSession *session)
{
    const auto number = static_cast<size_t>(session->socket);
    if (number < by_socket.size() && by_socket[number] == session) {
        by_socket[number] = nullptr;
    }
}

} // namespace

void sessions_init()
{
    active = {};
    spare = {};
    by_socket.clear();
}

ClientSession *session_alloc()
{
    static uint32_t generations;
    if (memory_is_short()) {
        return nullptr; // what is left belongs to those who are here
    }
    ClientSession *session = spare.head;
    if (session != nullptr) {
        unlink(spare, session);
        new (session) ClientSession; // nothing of the last connection is left
    } else {
        session = new (std::nothrow) ClientSession;
        if (session == nullptr) {
            return nullptr;
        }
    }
    session->open = true;
    session->generation = ++generations;
    session->lastActivity = tick_count();
    append(active, session, ON_ACTIVE_LIST);
    return session;
}

bool session_set_socket(ClientSession *session, Socket socket)
{
    assert(session->list == ON_ACTIVE_LIST && socket != NO_SOCKET);
    const auto number = static_cast<size_t>(socket);
    try {
        by_socket.resize(std::max(by_socket.size(), number + 1));
    } catch (const std::bad_alloc &) {
        return false;
    }
    session->socket = socket;
    by_socket[number] = session;
    return true;
}

void session_release(ClientSession *session)
{
    if (session->list != ON_ACTIVE_LIST) {
        return;
    }
    session->open = false;
    if (session->esmtp) { // a password may be in it
        wipe_secret(session->line, sizeof session->line);
        wipe_secret(session->login.name, sizeof session->login.name);
    }
    forget_socket(session);
    unlink(active, session);
    append(spare, session, ON_SPARE_LIST);
}

ClientSession *session_find(Socket socket)
{
    const auto number = static_cast<size_t>(socket);
    ClientSession *session = number < by_socket.size() ? by_socket[number] : nullptr;
    assert(session == nullptr ||
           (session->socket == socket && session->list == ON_ACTIVE_LIST));
    return session;
}

ClientSession *session_next(const ClientSession *session)
{
    assert(session == nullptr || session->list == ON_ACTIVE_LIST);
    return session == nullptr ? active.head : session->next;
}

void sessions_free_all()
{
    for (ClientSession *session = active.head; session != nullptr;
         session = session->next) {
        socket_close(session->socket);
    }
    free_list(active);
    free_list(spare);
    by_socket.clear();
}

void session_end(ClientSession *session)
{
    session->open = false;
}

bool session_is_open(const ClientSession *session)
{
    return session->open;
}
