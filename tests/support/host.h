#pragma once

namespace pixmill::test {

/// A host's progress callback that counts reports and refuses one of them, by number; -1 refuses none.
struct RefusingHost {
    int refuse = -1, reports = 0;

    static bool callback(int /*thousandth*/, void* self)
    {
        auto* host = static_cast<RefusingHost*>(self);
        return host->reports++ != host->refuse;
    }
};

} // namespace pixmill::test
