#include "spool/hand_over.h"

#include "base/paths.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/store.h"
#include "platform/store_job.h"
#include "spool/message_body.h"
#include "spool/spool_files.h"

#include <cassert>
#include <memory>
#include <new>

namespace
{

// A message between its end line and the answer: it may outlive its session.
struct Delivery : StoreJob {
    MailTransaction mail;
    char peerText[PEER_SIZE];
    Socket socket;
    uint32_t generation;
};

void fill(Delivery *delivery, const ClientSession *session, FileHandle body)
{
    delivery->body = body;
    delivery->mail = session->mail;
    copy_text(delivery->peerText, PEER_SIZE, session->peerText);
    delivery->socket = session->socket;
    delivery->generation = session->generation;
    [[maybe_unused]] const bool named =
        store_names(delivery, delivery->mail.spoolTemp, delivery->mail.spoolText,
                    delivery->mail.spoolEnvelope);
    assert(named); // they have more room there
}

// A file under the final name is not of this message.
void remove_unfinished(const MailTransaction &mail)
{
    spool_files_remove({mail.spoolEnvelope, mail.spoolTemp});
}

void refuse(const Delivery &delivery)
{
    log_stamped(WEIGHT_FAILURE, "SMTP: [%s] Message could not be stored - %s [%s]",
                delivery.peerText, delivery.reason,
                shell_path(delivery.mail.spoolTemp).text);
    remove_unfinished(delivery.mail);
}

// The body is whole, but not under its final name: kept for the operator, with the
// envelope that says for whom it is. Unless somebody has taken it away.
void keep_undelivered(const Delivery &delivery)
{
    if (does_file_exist(delivery.mail.spoolTemp) == 0) {
        refuse(delivery);
        return;
    }
    log_stamped(WEIGHT_FAILURE,
                "SMTP: [%s] Message could not be handed over, it is kept in [%s] - %s",
                delivery.peerText, shell_path(delivery.mail.spoolTemp).text,
                delivery.reason);
}

// Logs what became of the message. Whether it may be answered with a 250.
bool conclude(const Delivery &delivery)
{
    if (delivery.result == STORE_FAILED) {
        refuse(delivery);
        return false;
    }
    if (full_detail()) {
        log_stamped("***DEBUG***  Message file [%s] closed ", delivery.mail.spoolTemp);
    }
    if (delivery.result == STORE_NOT_NAMED) {
        keep_undelivered(delivery);
        return false;
    }
    if (full_detail()) {
        log_stamped("***DEBUG***  File renamed to [%s] and is now available to Quillon",
                    delivery.mail.spoolText);
    }
    if (delivery.result == STORE_UNCONFIRMED) {
        // The fax server may have taken it already. Without a promise the client sends
        // it again: rather twice than never.
        log_stamped(WEIGHT_FAILURE,
                    "SMTP: [%s] Message was handed over, but could not be written "
                    "through to the disk - %s [%s]",
                    delivery.peerText, delivery.reason,
                    shell_path(delivery.mail.spoolText).text);
        return false;
    }
    return true;
}

// Without a worker or memory for the record everybody waits for the disk.
HandOver wait_here(const ClientSession *session, FileHandle body, bool sync)
{
    Delivery delivery;
    fill(&delivery, session, body);
    if (sync) {
        store_here(&delivery);
    } else {
        store_at_once(&delivery);
    }
    return conclude(delivery) ? HANDED_OVER : HAND_OVER_FAILED;
}

HandOver deliver(ClientSession *session, FileHandle body, bool sync)
{
    std::unique_ptr<Delivery> delivery(sync ? new (std::nothrow) Delivery : nullptr);
    if (delivery == nullptr) {
        return wait_here(session, body, sync);
    }
    fill(delivery.get(), session, body);
    if (!store_begin(delivery.get())) {
        return wait_here(session, body, sync);
    }
    static_cast<void>(delivery.release()); // until it is reported
    session->waits = true;
    return ON_ITS_WAY;
}

} // namespace

HandOver hand_over(ClientSession *session)
{
    // Read first: memory may fail in it, and the body would be nobody's then.
    const bool sync = read_setting(SETTING_SYNCSPOOL) != 0;
    HandOver result = HAND_OVER_FAILED;
    const FileHandle body = body_finish(session);
    if (body != NO_FILE) {
        result = deliver(session, body, sync);
    } else {
        remove_unfinished(session->mail);
    }
    session->mail = {};
    return result;
}

ClientSession *hand_over_sender(const StoreJob *report)
{
    const auto *delivery = static_cast<const Delivery *>(report);
    ClientSession *session = session_find(delivery->socket);
    const bool waits = session != nullptr && session->generation == delivery->generation;
    return waits ? session : nullptr;
}

bool hand_over_conclude(StoreJob *report)
{
    const std::unique_ptr<Delivery> delivery(static_cast<Delivery *>(report));
    return conclude(*delivery);
}
