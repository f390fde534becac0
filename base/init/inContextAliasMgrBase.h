#pragma once

#include <base/containers/vector.h>
#include <base/qvBaseApi.h>

namespace Qv {

/// The process's command line, as the aliases of InInitArg see it.
///
/// Threads:  `bindArguments` runs on the main thread while no other thread reads; after it all
///           reading is free.
/// Lifetime: all texts stay until the next `bindArguments`.
class QV_BASE_API InContextAliasMgrBase {
public:
    /// The program's name as it was called; empty before the first binding.
    static const char* getApplicationName() noexcept;
    /// The arguments that no alias took, in order, without the program's name.
    static const Vector<char*>& getUnboundArgs() noexcept;
    /// The text after `key` on the command line, or null.
    static const char* getArgument( const char* key );

    /// Copies the arguments and takes those out that the living aliases of InInitArg name;
    /// InInitGuard calls it before the packages start.
    ///
    /// An alias takes an argument that begins with its key; if several keys fit, the longest
    /// counts. The text after the key is the value; if there is none, the next argument is. A key
    /// at the very end has no value and stays. When a key comes again the last value holds.
    ///
    /// The `argv` that the last call has left is the rest of the same command line: what was taken
    /// out of it stays bound. Any other is a new one.
    static void bindArguments( int& argc, const char* const*& argv );
    static void bindArguments( int& argc, char**& argv );
};

} // namespace Qv
