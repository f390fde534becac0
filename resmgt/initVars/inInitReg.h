#pragma once

#include <base/init/inContextAliasBase.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

/// The system's registry as a source of configuration variables that name it:
///
///     InContextAlias<InInitReg, 0>( "stackSize", "Stack size of threads" )
///
/// Without a registry it never has a value.
struct QV_RESMGT_API InInitReg {
    static constexpr int getPriority() noexcept { return 5; }
    static constexpr const char* getSourceString() noexcept { return "InInitReg"; }
    /// Gives the variable the registry's value, if it has one.
    static void initialize( InContextAliasBase& alias );
    /// Where a value stands: a key that begins with "HKEY" is the whole path; another one is a
    /// value in the branch of the running application. Empty when that has registered no record.
    static std::string getPath( const char* key );
};

} // namespace Qv
