// Any address against any users and domains file, and through the address cleaner.
//
// Input: a length, an address of that many bytes, the content of both files.
#include "fuzz_installation.h"
#include "platform/file_contents.h"
#include "spool/address.h"
#include "spool/domains.h"
#include "spool/local_users.h"

#include <algorithm>
#include <cstring>
#include <fstream>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    enter_installation();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1) {
        return 0;
    }
    const size_t length = std::min<size_t>(data[0] * 3U, size - 1);
    std::string address(data + 1, data + 1 + length);
    address = address.c_str();
    const std::string content(data + 1 + length, data + size);
    if (address.starts_with("\xFE\xFF") || address.starts_with("\xFF\xFE")) {
        return 0; // the domains file would be in UTF-16, which is not read
    }
    std::ofstream("DATA/RAW/TSUSERS.DAT", std::ios::binary) << content;
    std::ofstream("DATA/RAW/DOMAIN.DAT", std::ios::binary) << address << ",all\n"
                                                           << content;
    file_contents_invalidate();

    std::string cleaned = address;
    promise(clean_address(cleaned.data()) == (address.empty() ? 0 : 1), "its answer");
    promise(strlen(cleaned.c_str()) <= address.size(), "a cleaned address grew");
    const int user = find_local_user(address.c_str(), true);
    if (address.size() < 500 && address.find_first_of("<>") == std::string::npos) {
        promise(find_local_user(("<" + address + ">").c_str(), false) == user,
                "brackets change the user");
    }
    domain_is_accepted(cleaned.c_str());
    promise(domain_is_accepted(address.c_str()) == 1 || address.size() > 500 ||
                address.find('\n') != std::string::npos,
            "a listed domain is refused");
    if ((content + address).find('0') == std::string::npos) {
        promise(domain_is_accepted(("0" + address).c_str()) == 0,
                "a domain that is not listed is accepted");
    }
    promise(installation_is_alone(), "a file outside the installation");
    return 0;
}
