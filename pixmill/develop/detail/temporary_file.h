#pragma once

#include <cstdio>
#include <string>

namespace pixmill::develop {

/// A hidden file beside a target, which becomes the target or goes.
class TemporaryFile {
public:
    /// @throws Error  where it cannot be made: no such folder, no right to write there.
    explicit TemporaryFile(std::string target);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    std::FILE* file() const { return m_file; }
    const std::string& name() const { return m_name; }
    const std::string& target() const { return m_target; }

    /// Brings everything to the disk and takes the target's name. @throws Error
    void commit();

private:
    void discard() noexcept;

    std::string m_target, m_name;
    std::FILE* m_file = nullptr;
};

/// Removes all that are open now; a later one cannot be made.
void discardTemporaryFiles();

} // namespace pixmill::develop
