#pragma once

#include <array>
#include <span>
#include <string>

namespace Qv {

/// The return addresses of the functions that are active, innermost first. Plain data: cheap to
/// take and to copy, turned into text only when somebody wants to read it.
struct CallStack {
    std::array<void*, 32> _frames;
    int _depth = 0;

    std::span<void* const> frames() const {
        return { _frames.data(), static_cast<std::size_t>( _depth ) };
    }
};

/// The caller's stack; empty where the platform doesn't know it.
CallStack captureStack() noexcept;

/// One function a line, with its module and address; names are demangled where they are known.
std::string stackText( const CallStack& stack );

} // namespace Qv
