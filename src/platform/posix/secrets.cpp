#include "platform/secrets.h"

#include <crypt.h>
#include <cstring>

namespace
{

// The time depends on the lengths alone, which are no secret.
bool equal_in_constant_time(const char *a, const char *b)
{
    const size_t length = strlen(a);
    if (length != strlen(b)) {
        return false;
    }
    unsigned difference = 0;
    for (size_t i = 0; i < length; i++) {
        difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
    }
    return difference == 0;
}

} // namespace

void wipe_secret(void *bytes, size_t size)
{
    explicit_bzero(bytes, size);
}

bool password_matches(const char *password, const char *hash)
{
    static crypt_data data; // 32 KB, in which crypt(3) leaves the password
    const char *made = crypt_r(password, hash, &data);
    // A failure is no pointer, or a text that begins with an asterisk.
    const bool matches =
        made != nullptr && made[0] != '*' && equal_in_constant_time(made, hash);
    wipe_secret(&data, sizeof data);
    return matches;
}
