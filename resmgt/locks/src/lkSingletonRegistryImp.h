#pragma once

#include <base/locks/lkLock.h>

#include <set>
#include <typeinfo>

namespace Qv {

/// The singleton types seen.
class LkSingletonRegistryImp {
public:
    /// With `trace`, each `add` prints to standard error what it does.
    explicit LkSingletonRegistryImp( bool trace = false );

    void add( const std::type_info& type );

private:
    struct TypeBefore {
        bool operator()( const std::type_info* left, const std::type_info* right ) const {
            return left->before( *right );
        }
    };

    const LkLock _lock;
    std::set<const std::type_info*, TypeBefore> _types QV_GUARDED_BY( _lock );
    const bool _trace;
};

} // namespace Qv
