#include "platform/posix/memory_reserve.h"

#include "platform/memory.h"

#include <cstdlib>
#include <new>

namespace
{

// Large enough for a mapping of its own, so that freeing it gives the system the memory
// back for anything.
constexpr size_t RESERVE_SIZE = size_t{256} * 1024;

void *reserve;

// Called when an allocation fails, until the allocation succeeds or this throws.
void give_reserve_back()
{
    if (reserve == nullptr) {
        throw std::bad_alloc();
    }
    free(reserve);
    reserve = nullptr;
}

} // namespace

void memory_reserve_refill()
{
    if (reserve == nullptr) {
        std::set_new_handler(give_reserve_back);
        reserve = malloc(RESERVE_SIZE);
    }
}

bool memory_is_short()
{
    memory_reserve_refill();
    return reserve == nullptr;
}
