#include <base/init/src/inPackageFrame.h>

#include <base/failure/assertions.h>
#include <base/init/inUtils.h>
#include <base/init/inVariableBase.h>
#include <base/init/src/inAliasDump.h>
#include <base/ownership/ownershipDelete.h>
#include <base/text/typeName.h>
#include <base/trace/traceManager.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace Qv {

namespace {

constexpr unsigned int DUMP_SOURCES_BIT = 2;

/// Depth-first walk of the dependency graph; a package comes behind all that it depends on.
class DependencyWalk {
public:
    template <class FindPackage>
    void visit( InPackageInit& package, const FindPackage& find ) {
        if( std::ranges::find( _order, &package ) != _order.end() ) {
            return;
        }
        const auto begin = std::ranges::find( _path, &package );
        if( begin != _path.end() ) {
            throwCycle( begin - _path.begin() );
        }
        _path.push_back( &package );
        for( const std::type_info* const identity : package.getDependencies() ) {
            InPackageInit* const dependency = find( *identity );
            if( dependency == nullptr ) {
                throwUnknown( package, *identity );
            }
            visit( *dependency, find );
        }
        _path.pop_back();
        _order.push_back( &package );
    }
    std::vector<InPackageInit*> takeOrder() { return std::move( _order ); }

private:
    [[noreturn]] void throwCycle( std::ptrdiff_t begin ) const {
        std::string text = "Packages depend on each other: ";
        for( auto i = _path.begin() + begin; i != _path.end(); ++i ) {
            text += std::string( ( *i )->getName() ) + " -> ";
        }
        text += _path[static_cast<std::size_t>( begin )]->getName();
        throw ExInternalError( QV_HERE, text.c_str() );
    }
    [[noreturn]] static void throwUnknown( const InPackageInit& package,
                                           const std::type_info& identity ) {
        const std::string text =
            std::string( "Package " ) + package.getName() +
            " depends on a package that isn't there: " + TypeName::get( identity );
        throw ExInternalError( QV_HERE, text.c_str() );
    }

    std::vector<InPackageInit*> _path;
    std::vector<InPackageInit*> _order;
};

} // namespace

InPackageFrame& InPackageFrame::getInstance() {
    // Packages leave it in static destructors, so it has none.
    static InPackageFrame* const instance = new InPackageFrame;
    return *instance;
}

void InPackageFrame::add( InPackageInit& package ) {
    QV_ASSERT( find( *package.getIdentity() ) == 0 );
    _packages.push_back( &package );
}

void InPackageFrame::remove( InPackageInit& package ) noexcept {
    std::erase( _packages, &package );
    std::erase( _startedPackages, &package );
}

void InPackageFrame::start() {
    QV_ASSERT( !_isStarted );
    const std::vector<InPackageInit*> order = orderByDependency();
    _startedPackages.reserve( order.size() );
    _isStarted = true;
    try {
        for( InPackageInit* const package : order ) {
            startPackage( *package );
        }
        if( InUtils::isDebuggingEnabled( DUMP_SOURCES_BIT ) ) {
            std::ostringstream text;
            dumpAliases( text, _startedPackages );
            TraceManager::getInstance().getTrace().log( text, QV_HERE );
        }
    } catch( ... ) {
        stop();
        throw;
    }
}

void InPackageFrame::startPackage( InPackageInit& package ) {
    for( InVariableBase* const variable : package.getVariables() ) {
        variable->resolve();
    }
    package.preInitializePackage();
    package.initializePackage();
    _startedPackages.push_back( &package );
    package.postInitializePackage();
    package.setPackageState( true );
}

void InPackageFrame::stop() noexcept {
    while( !_startedPackages.empty() ) {
        InPackageInit& package = *_startedPackages.back();
        _startedPackages.pop_back();
        try {
            package.finalizePackage();
        } catch( ... ) {
            Ownership::reportFailedDestructor();
        }
        package.setPackageState( false );
    }
    _isStarted = false;
}

std::vector<InPackageInit*> InPackageFrame::orderByDependency() const {
    std::vector<InPackageInit*> packages = _packages;
    std::ranges::stable_sort( packages, {}, []( const InPackageInit* package ) {
        return std::pair( !package->isSourceProvider(), std::string_view( package->getName() ) );
    } );
    DependencyWalk walk;
    for( InPackageInit* const package : packages ) {
        walk.visit( *package, [this]( const std::type_info& id ) { return find( id ); } );
    }
    return walk.takeOrder();
}

InPackageInit* InPackageFrame::find( const std::type_info& identity ) const noexcept {
    const auto i = std::ranges::find_if( _packages, [&]( const InPackageInit* package ) {
        return *package->getIdentity() == identity;
    } );
    return i != _packages.end() ? *i : nullptr;
}

} // namespace Qv
