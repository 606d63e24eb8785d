#pragma once

#include <pixmill/develop/Export.h>

#include <stdexcept>
#include <string>

namespace pixmill {

/// The one exception of the develop library: which call, which argument, what was wanted, what was given.
///
/// `what()` reads "CALL: ARGUMENT is GIVEN, wanted WANTED", or "CALL: GIVEN" where no argument is to blame. What the
/// core library throws underneath arrives as such an error too; only `std::bad_alloc` passes as it is.
class PIXMILL_DEVELOP_API Error : public std::runtime_error {
public:
    std::string call;     ///< The public function, "Developer::open".
    std::string argument; ///< Its argument or a member of it, "pixels.stride"; empty where none is to blame.
    std::string wanted;   ///< What would have been right, "at least 1920"; empty where no argument is to blame.
    std::string given;    ///< What was given, "1200", or what went wrong.

    /// Composes `what()`.
    Error(std::string call, std::string argument, std::string wanted, std::string given);
    ~Error() override;
};

} // namespace pixmill
