#include "smtp/login_failures.h"

#include "platform/sockets.h"

#include <algorithm>

namespace
{

constexpr int FAILURES = 10;
constexpr int64_t PERIOD = 600; // seconds
constexpr int ADDRESSES = 1000;

struct Guesser {
    uint32_t address;
    bool refused; // for a period from the last failure on
    int count;    // of the failures that count
    int64_t times[FAILURES];
};

Guesser guessers[ADDRESSES];
int guesser_count;

// A clock that was set back makes no period longer.
bool is_within_period(int64_t then, int64_t now)
{
    return then <= now && now - then < PERIOD;
}

int64_t last_failure(const Guesser &guesser)
{
    return guesser.times[guesser.count - 1];
}

bool is_refused(const Guesser &guesser, int64_t now)
{
    return guesser.refused && is_within_period(last_failure(guesser), now);
}

Guesser *find_guesser(uint32_t address)
{
    Guesser *end = guessers + guesser_count;
    Guesser *found = std::find_if(guessers, end, [=](const Guesser &guesser) {
        return guesser.address == address;
    });
    return found != end ? found : nullptr;
}

// A record for an address that has none: an unused one, or somebody else's.
Guesser *take_guesser(uint32_t address, int64_t now)
{
    Guesser *taken = guessers + guesser_count;
    if (guesser_count < ADDRESSES) {
        guesser_count++;
    } else {
        taken =
            std::min_element(guessers, taken, [now](const Guesser &a, const Guesser &b) {
                const bool a_refused = is_refused(a, now);
                const bool b_refused = is_refused(b, now);
                return a_refused != b_refused ? b_refused
                                              : last_failure(a) < last_failure(b);
            });
    }
    *taken = {};
    taken->address = address;
    return taken;
}

} // namespace

bool is_guessing(const char *address, int64_t now)
{
    const Guesser *guesser = find_guesser(address_from_text(address));
    return guesser != nullptr && is_refused(*guesser, now);
}

bool login_has_failed(const char *address, int64_t now)
{
    const uint32_t number = address_from_text(address);
    Guesser *guesser = find_guesser(number);
    if (guesser == nullptr) {
        guesser = take_guesser(number, now);
    }
    int64_t *kept =
        std::remove_if(guesser->times, guesser->times + guesser->count,
                       [now](int64_t then) { return !is_within_period(then, now); });
    *kept = now;
    guesser->count = static_cast<int>(kept - guesser->times) + 1;
    guesser->refused = guesser->count == FAILURES;
    if (guesser->refused) {
        guesser->times[0] = now;
        guesser->count = 1; // after the period it counts no more, as the others
    }
    return guesser->refused;
}
