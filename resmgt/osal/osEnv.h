#pragma once

#include <base/containers/hashMap.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

/// The environment of this process. Wide text is converted as WideStringUtil does it, so that every
/// value survives.
///
/// Names:   not empty, without "=" and zero characters. No other name is ever set; to set one is an
///          error, as is a value with a zero character.
/// Empty:   a variable that is set to the empty text is set.
/// Errors:  a change that fails raises ExSysErrorANSI with the operation and the name, and changes
///          nothing.
/// Threads: no lock. The environment may be changed only while no other thread reads it, be it
///          through this class or another library.
class QV_RESMGT_API OsEnv {
public:
    class VariableGuard;

    OsEnv() = delete;

    /// Whether the variable is set; only then `value` is changed.
    static bool getVariable( std::string& value, const std::string& name );
    static bool getVariable( std::wstring& value, const std::wstring& name );
    /// Whether it is set, even if empty.
    static bool isSet( const std::string& name );
    static bool isSet( const std::wstring& name );
    /// Replaces the content by a snapshot of all variables. Where the process was given a name
    /// twice, the first counts, as it does for getVariable.
    static void getVariables( HashMap<std::wstring, std::wstring>& variables );

    static void setVariable( const std::string& name, const std::string& value );
    static void setVariable( const std::wstring& name, const std::wstring& value );
    /// A variable that isn't set is no error.
    static void unsetVariable( const std::string& name );
    static void unsetVariable( const std::wstring& name );
    /// Sets a variable by "NAME=value"; "NAME=" sets the empty text. Without "=" it is an error.
    static void putVariable( const std::wstring& assignment );

    /// Joins `value` and the present one with OsFilePath::getMultiPathSeparator(); the system's own
    /// PATH with the system's separator. Where one of the two is empty or unset there is no
    /// separator.
    static void prependToVariable( const std::string& name, const std::string& value );
    static void prependToVariable( const std::wstring& name, const std::wstring& value );
    /// Puts `value` behind what the variable has.
    static void appendToVariable( const std::string& name, const std::string& value );
    static void appendToVariable( const std::wstring& name, const std::wstring& value );

private:
    static std::string performGetSeparator( const std::string& name );
    /// A null value takes the variable away. False with errno on failure.
    static bool performChange( const char* name, const char* value );
    /// "NAME=value" each, up to a null.
    static const char* const* performGetAll();

    static void change( const char* where, const std::string& name, const std::string* value );
};

/// A variable that has another value until scope exit, when it gets its former one, or is taken
/// away if it was unset.
///
/// Errors: a constructor that raises has changed nothing. A restoration that fails is traced.
class QV_RESMGT_API OsEnv::VariableGuard {
public:
    /// Where a new value goes beside the former one.
    enum EditMode : int { SET, APPEND, PREPEND };

    /// An `editMode` of another value raises ExProgramAborted.
    VariableGuard( const std::string& name, const std::string& value, EditMode editMode );
    VariableGuard( const std::wstring& name, const std::wstring& value, EditMode editMode );
    VariableGuard( const VariableGuard& ) = delete;
    VariableGuard& operator=( const VariableGuard& ) = delete;
    ~VariableGuard();

private:
    const std::string _name;
    std::string _formerValue;
    const bool _wasSet;
};

} // namespace Qv
