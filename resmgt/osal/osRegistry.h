#pragma once

#include <base/ownership/aPtr.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

struct OsRegistryPlace;

/// Values of the system's registry. Each is named by one text of root, key and value, such as
/// "HKEY_LOCAL_MACHINE\\SOFTWARE\\Name\\value". What stands between the first and the last
/// back-slash is the key; with one back-slash alone it is empty. The root may be cut short: it
/// stands for the first that begins with it in the order HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT,
/// HKEY_CURRENT_CONFIG, HKEY_CURRENT_USER, HKEY_USERS, HKEY_PERFORMANCE_DATA.
///
/// Posix:   there is no registry: nothing is ever found, and each setter raises
///          ExSysErrorGeneric, which says so.
/// Errors:  a getter whose text has no back-slash or an unknown root finds nothing, nor does one
///          with null; a setter raises ExSysErrorGeneric with the operation and the text.
/// Threads: any.
class QV_RESMGT_API OsRegistry {
public:
    OsRegistry() = delete;

    /// A new text, or null if there is none.
    static APtrRet<char> getVariable( const char* text );
    /// 0 if there is none.
    static long getLong( const char* text );
    static long long getLongLong( const char* text );

    static void setVariable( const char* text, APtr<char> value );
    static void setLong( const char* text, long value );
    static void setLongLong( const char* text, long long value );

private:
    static APtrRet<char> performGetVariable( const OsRegistryPlace& place );
    static long performGetLong( const OsRegistryPlace& place );
    static long long performGetLongLong( const OsRegistryPlace& place );
    static void performSetVariable( const OsRegistryPlace& place, APtr<char> value );
    static void performSetLong( const OsRegistryPlace& place, long value );
    static void performSetLongLong( const OsRegistryPlace& place, long long value );
};

} // namespace Qv
