#include <resmgt/osal/osRegistry.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <resmgt/osal/src/osRegistryPlace.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

namespace Qv {

namespace {

struct Root {
    const char* word;
    std::uint32_t handle;
};

constexpr Root ROOTS[] = {
    { "HKEY_LOCAL_MACHINE", 0x80000002 },
    { "HKEY_CLASSES_ROOT", 0x80000000 },
    { "HKEY_CURRENT_CONFIG", 0x80000005 },
    { "HKEY_CURRENT_USER", 0x80000001 },
    { "HKEY_USERS", 0x80000003 },
    // Found without the blank too, as a root may be cut short.
    { "HKEY_PERFORMANCE_DATA ", 0x80000004 },
};

OsRegistryPlace placeOf( const char* where, const char* text ) {
    std::optional<OsRegistryPlace> place = OsRegistryPlace::parse( text );
    if( !place ) {
        throw ExSysErrorGeneric( QV_HERE, "the text names no value of the registry", where, text );
    }
    return *std::move( place );
}

} // namespace

std::optional<OsRegistryPlace> OsRegistryPlace::parse( const char* text ) {
    const char* const rootEnd = text == nullptr ? nullptr : std::strchr( text, '\\' );
    if( rootEnd == nullptr ) {
        return std::nullopt;
    }
    const std::string_view word( text, static_cast<std::size_t>( rootEnd - text ) );
    const auto* const root =
        std::find_if( std::begin( ROOTS ), std::end( ROOTS ), [&]( auto& row ) {
            return std::string_view( row.word ).starts_with( word );
        } );
    if( root == std::end( ROOTS ) ) {
        return std::nullopt;
    }
    const char* const keyEnd = std::strrchr( text, '\\' );
    const char* const key = std::min( rootEnd + 1, keyEnd );
    return OsRegistryPlace{ root->handle, std::string( key, keyEnd ), keyEnd + 1, text };
}

APtrRet<char> OsRegistry::getVariable( const char* text ) {
    const auto place = OsRegistryPlace::parse( text );
    return place ? performGetVariable( *place ) : APtrRet<char>( APtr<char>() );
}

long OsRegistry::getLong( const char* text ) {
    const auto place = OsRegistryPlace::parse( text );
    return place ? performGetLong( *place ) : 0;
}

long long OsRegistry::getLongLong( const char* text ) {
    const auto place = OsRegistryPlace::parse( text );
    return place ? performGetLongLong( *place ) : 0;
}

void OsRegistry::setVariable( const char* text, APtr<char> value ) {
    performSetVariable( placeOf( "OsRegistry::setVariable", text ), value );
}

void OsRegistry::setLong( const char* text, long value ) {
    performSetLong( placeOf( "OsRegistry::setLong", text ), value );
}

void OsRegistry::setLongLong( const char* text, long long value ) {
    performSetLongLong( placeOf( "OsRegistry::setLongLong", text ), value );
}

} // namespace Qv
