#include <pixmill/version.h>

const char* pixmill::version() noexcept
{
    return PIXMILL_VERSION;
}
