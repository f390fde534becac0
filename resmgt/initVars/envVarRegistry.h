#pragma once

#include <resmgt/resmgtApi.h>

#include <iosfwd>

namespace Qv {

class EnvVar;

/// All environment variables of the process that are alive, in order of their objects' addresses.
///
/// Lifetime: from the first variable's construction, which may be before `main`, or from the start
///           of the package initVars, until that package's stop. Its next start brings back the
///           variables that are alive. Those that are built between work without being listed.
/// Threads:  no lock: no variable may be built or destroyed beside a dump.
class QV_RESMGT_API EnvVarRegistry {
public:
    EnvVarRegistry( const EnvVarRegistry& ) = delete;
    EnvVarRegistry& operator=( const EnvVarRegistry& ) = delete;
    virtual ~EnvVarRegistry();

    /// A line for each variable.
    virtual void dump( std::ostream& stream ) const = 0;
    /// A page with a table of names, texts and source files, "(null)" for a variable that is unset.
    /// In the table's texts, characters with a meaning in HTML are escaped; control characters and
    /// bytes that aren't UTF-8 become "?".
    virtual void dumpHtml( std::ostream& stream ) const = 0;

    /// Builds the instance if there is none.
    static void initialize();
    /// Ends the registry, at the package's stop.
    static void finalize();
    /// Asserts "instance != 0".
    static EnvVarRegistry& getInstance();

protected:
    EnvVarRegistry() = default;

private:
    friend class EnvVar;

    static void enroll( const EnvVar& variable ) noexcept;
    static void withdraw( const EnvVar& variable ) noexcept;
};

/// The text dump. Asserts "instance != 0".
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const EnvVarRegistry& registry );

} // namespace Qv
