#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Qv {

/// What a text of OsRegistry names.
struct OsRegistryPlace {
    /// Empty for a null text, one without a back-slash, and one with an unknown root.
    static std::optional<OsRegistryPlace> parse( const char* text );

    /// The system's number of the root.
    std::uint32_t root;
    std::string key;
    std::string valueName;
    /// The whole, for messages.
    std::string text;
};

} // namespace Qv
