#pragma once

#include <filesystem>
#include <string>

namespace Qv {

/// An empty directory of its own, under the system's directory for temporary files; it goes with
/// all that it holds.
class TempDirectory {
public:
    TempDirectory();
    TempDirectory( const TempDirectory& ) = delete;
    TempDirectory& operator=( const TempDirectory& ) = delete;
    ~TempDirectory();

    const std::filesystem::path& path() const { return _path; }

private:
    std::filesystem::path _path;
};

/// The bytes of a file; none without one.
std::string readFile( const std::filesystem::path& path );

} // namespace Qv
