#include <pixmill/core/detail/rows.h>

namespace pixmill::detail {
namespace {

int processorLevel()
{
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl"))
        return 2;
    return __builtin_cpu_supports("avx2") ? 1 : 0;
}

} // namespace

RowPolicy& rowPolicy()
{
    static RowPolicy policy{processorLevel(), 32768};
    return policy;
}

} // namespace pixmill::detail
