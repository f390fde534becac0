#include <resmgt/rtti/rttiTypeBase.h>

#include <base/failure/assertions.h>
#include <resmgt/rtti/rttiEx.h>

#include <algorithm>
#include <ostream>
#include <utility>
#include <vector>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

/// Needs no start and no end: types are made and destroyed when none of the library's packages
/// runs.
constinit const LkLock graphLock( "RttiTypes" );
constinit unsigned long long nbWalks QV_GUARDED_BY( graphLock ) = 0;

/// Walks over the elements of a copy.
class CopyIteratorEng final : public IteratorEng<RttiTypeBase*> {
public:
    explicit CopyIteratorEng( const Set<RttiTypeBase*>& types )
        : _types( types.begin(), types.end() ) {}

    RttiTypeBase* const* getCurrent() const override {
        return _index < _types.size() ? &_types[_index] : nullptr;
    }
    void advance() override { ++_index; }
    CopyIteratorEng* clone() const override { return new CopyIteratorEng( *this ); }

private:
    const std::vector<RttiTypeBase*> _types;
    std::size_t _index = 0;
};

} // namespace

/// The search for a type along one kind of links; the types that are yet to be visited form a list
/// through their own fields. REQUIRES: the graph's lock is held.
struct RttiTypeBase::Walk {
    static bool finds( const RttiTypeBase& from, const RttiTypeBase* wanted,
                       Types RttiTypeBase::*links ) QV_REQUIRES( graphLock ) {
        const unsigned long long walk = ++nbWalks;
        from._nextInWalk = nullptr;
        for( const RttiTypeBase* visited = &from; visited != nullptr; ) {
            const RttiTypeBase* next = visited->_nextInWalk;
            for( const RttiTypeBase* const linked : visited->*links ) {
                if( linked == wanted ) {
                    return true;
                }
                if( linked->_walk != walk ) {
                    linked->_walk = walk;
                    linked->_nextInWalk = next;
                    next = linked;
                }
            }
            visited = next;
        }
        return false;
    }
};

RttiTypeBase::RttiTypeBase( int typeId )
    : _typeId( typeId )
    , _descendantsLock( std::make_unique<const LkLock>( "_descendantsLock" ) ) {}

RttiTypeBase::~RttiTypeBase() {
    const Guard guard( graphLock );
    while( !_ancestors.isEmpty() ) {
        removeAncestor( *_ancestors.begin() );
    }
    while( !_descendants.isEmpty() ) {
        ( *_descendants.begin() )->removeAncestor( this );
    }
}

void RttiTypeBase::keepName() {
    if( _name.empty() ) {
        _name = getName();
    }
}

void RttiTypeBase::addAncestor( RttiTypeBase* type ) {
    QV_ASSERT( type != 0 );
    const Guard guard( graphLock );
    if( type == this || Walk::finds( *this, type, &RttiTypeBase::_descendants ) ) {
        throw RttiEx::ExCycle( QV_HERE, type->getName() );
    }
    keepName();
    type->keepName();
    if( !_ancestors.insert( type ).second ) {
        throw RttiEx::ExAlreadyExists( QV_HERE, type->getName() );
    }
    try {
        const Guard descendantsGuard( *type->_descendantsLock );
        QV_ASSERT( type->_descendants.insert( this ).second );
    } catch( ... ) {
        _ancestors.erase( type );
        throw;
    }
}

void RttiTypeBase::removeAncestor( RttiTypeBase* type ) {
    QV_ASSERT( _ancestors.erase( type ) == 1 );
    const Guard guard( *type->_descendantsLock );
    QV_ASSERT( type->_descendants.erase( this ) == 1 );
}

int RttiTypeBase::getNbAncestors() const {
    const Guard guard( graphLock );
    return static_cast<int>( _ancestors.size() );
}

int RttiTypeBase::getNbDescendants() const {
    const Guard guard( *_descendantsLock );
    return static_cast<int>( _descendants.size() );
}

bool RttiTypeBase::isAncestor( const RttiTypeBase* type ) const {
    QV_ASSERT( type != 0 );
    const Guard guard( graphLock );
    return _ancestors.contains( const_cast<RttiTypeBase*>( type ) );
}

bool RttiTypeBase::isDescendant( const RttiTypeBase* type ) const {
    QV_ASSERT( type != 0 );
    const Guard guard( *_descendantsLock );
    return _descendants.contains( const_cast<RttiTypeBase*>( type ) );
}

bool RttiTypeBase::isIndirectAncestor( const RttiTypeBase* type ) const {
    QV_ASSERT( type != 0 );
    const Guard guard( graphLock );
    return Walk::finds( *this, type, &RttiTypeBase::_ancestors );
}

bool RttiTypeBase::isIndirectDescendant( const RttiTypeBase* type ) const {
    QV_ASSERT( type != 0 );
    const Guard guard( graphLock );
    return Walk::finds( *this, type, &RttiTypeBase::_descendants );
}

ConstIterator<RttiTypeBase*> RttiTypeBase::getAncestors() const {
    const Guard guard( graphLock );
    return ConstIterator<RttiTypeBase*>( new CopyIteratorEng( _ancestors ) );
}

ConstIterator<RttiTypeBase*> RttiTypeBase::getDescendants() const {
    const Guard guard( *_descendantsLock );
    return ConstIterator<RttiTypeBase*>( new CopyIteratorEng( _descendants ) );
}

void RttiTypeBase::dump( std::ostream& stream, const char* indent ) const {
    std::vector<std::pair<int, std::string>> ancestors;
    std::vector<std::pair<int, std::string>> descendants;
    const auto copy = []( const Types& types, auto& target ) {
        for( const RttiTypeBase* const type : types ) {
            target.emplace_back( type->_typeId, type->_name );
        }
        std::sort( target.begin(), target.end() );
    };
    {
        const Guard guard( graphLock );
        copy( _ancestors, ancestors );
        copy( _descendants, descendants );
    }
    const auto writeAll = [&]( const char* title, const auto& types ) {
        stream << indent << title << '\n';
        for( const auto& [id, name] : types ) {
            stream << indent << "  " << name << " (TypeId " << id << ")\n";
        }
    };
    stream << indent << "RttiTypeBase " << getName() << " (TypeId " << _typeId << ")\n";
    writeAll( "Ancestors:", ancestors );
    writeAll( "Descendants:", descendants );
}

std::ostream& operator<<( std::ostream& stream, const RttiTypeBase& type ) {
    type.dump( stream );
    return stream;
}

} // namespace Qv
