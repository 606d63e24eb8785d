#include "options.h"

int runToolbox(const Options&)
{
    return 0;
}
