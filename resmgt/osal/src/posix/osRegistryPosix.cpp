#include <resmgt/osal/osRegistry.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <resmgt/osal/src/osRegistryPlace.h>

namespace Qv {

namespace {

[[noreturn]] void refuse( const char* where, const OsRegistryPlace& place ) {
    throw ExSysErrorGeneric( QV_HERE, "this system has no registry", where, place.text.c_str() );
}

} // namespace

APtrRet<char> OsRegistry::performGetVariable( const OsRegistryPlace& ) {
    return APtr<char>();
}

long OsRegistry::performGetLong( const OsRegistryPlace& ) {
    return 0;
}

long long OsRegistry::performGetLongLong( const OsRegistryPlace& ) {
    return 0;
}

void OsRegistry::performSetVariable( const OsRegistryPlace& place, APtr<char> ) {
    refuse( "OsRegistry::setVariable", place );
}

void OsRegistry::performSetLong( const OsRegistryPlace& place, long ) {
    refuse( "OsRegistry::setLong", place );
}

void OsRegistry::performSetLongLong( const OsRegistryPlace& place, long long ) {
    refuse( "OsRegistry::setLongLong", place );
}

} // namespace Qv
