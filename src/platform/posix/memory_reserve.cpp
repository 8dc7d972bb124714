#include "platform/posix/memory_reserve.h"

#include "platform/memory.h"

#include <cstdlib>
#include <new>

namespace
{

// Above the size from which the allocator maps blocks of their own, so that what is given
// back can be used for anything.
constexpr size_t RESERVE_SIZE = size_t{256} * 1024;

void *reserve;

// Called when an allocation fails, again and again until it succeeds or this gives up.
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
