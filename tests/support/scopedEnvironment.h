#pragma once

#include <optional>
#include <string>

namespace Qv {

/// An environment variable that has another value, or with null none, until scope exit. No other
/// thread may read the environment meanwhile.
class ScopedEnvironment {
public:
    explicit ScopedEnvironment( const char* name, const char* value = nullptr );
    ScopedEnvironment( const ScopedEnvironment& ) = delete;
    ScopedEnvironment& operator=( const ScopedEnvironment& ) = delete;
    ~ScopedEnvironment();

private:
    const std::string _name;
    std::optional<std::string> _before;
};

} // namespace Qv
