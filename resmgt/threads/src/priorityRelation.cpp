#include <resmgt/threads/priorityRelation.h>

#include <base/failure/assertions.h>
#include <base/locks/lkGuard.h>
#include <resmgt/threads/priorityMgr.h>
#include <resmgt/threads/src/mtDestructor.h>
#include <resmgt/threads/src/priorityNode.h>

#include <algorithm>
#include <limits>
#include <ostream>

namespace Qv {

namespace {

std::string nameWithValue( const PriorityNode& node ) {
    const std::string digits = std::to_string( node.prio );
    const std::size_t width = std::max<std::size_t>( digits.size(), 4 );
    return node.name + " ( " + std::string( width - digits.size(), ' ' ) + digits + " ) ";
}

} // namespace

PriorityRelation::PriorityRelation( const LiString& name, Priority& lhs, Relation relation,
                                    Priority& rhs )
    : _name( name )
    , _relation( relation )
    , _lhs( lhs._node )
    , _rhs( rhs._node ) {
    QV_ASSERT_TEXT( &_lhs->mgr == &_rhs->mgr, "&_lhs.getMgr() == &_rhs.getMgr()" );
    // Aborts for what is no relation.
    relationToString( relation );
    _lhs->mgr.enter( *this );
}

PriorityRelation::PriorityRelation( const PriorityRelation& other )
    : PriorityRelation( other._name, other.getLhs(), other._relation, other.getRhs() ) {}

PriorityRelation::~PriorityRelation() noexcept( false ) {
    runDestructor( [this] { _lhs->mgr.leave( *this ); } );
}

Priority& PriorityRelation::getPriority( const PriorityNode& node ) {
    const LkGuard<const LkLock> guard( node.mgr.getLock() );
    QV_ASSERT_TEXT( node.priority != nullptr, "the priority has not ended" );
    return *node.priority;
}

Priority& PriorityRelation::getLhs() const {
    return getPriority( *_lhs );
}

Priority& PriorityRelation::getRhs() const {
    return getPriority( *_rhs );
}

bool PriorityRelation::uses( const Priority& prio ) const noexcept {
    return prio._node == _lhs || prio._node == _rhs;
}

PriorityNode& PriorityRelation::getOther( const PriorityNode& node ) const noexcept {
    return &node == _lhs.get() ? *_rhs : *_lhs;
}

bool PriorityRelation::check() const {
    const LkGuard<const LkLock> guard( _lhs->mgr.getLock() );
    return checkNoLock();
}

bool PriorityRelation::checkNoLock() const {
    switch( _relation ) {
    case EQUAL:
        return _lhs->prio == _rhs->prio;
    case LESS:
        return _lhs->prio < _rhs->prio;
    case LESS_OR_EQUAL:
        return _lhs->prio <= _rhs->prio;
    }
    Assertions::throwProgramAborted( QV_HERE, nullptr );
}

int PriorityRelation::computeRhsPriority( int lhsPriority ) const {
    switch( _relation ) {
    case EQUAL:
    case LESS_OR_EQUAL:
        return lhsPriority;
    case LESS:
        QV_ASSERT( lhsPriority < std::numeric_limits<int>::max() );
        return lhsPriority + 1;
    }
    Assertions::throwProgramAborted( QV_HERE, nullptr );
}

int PriorityRelation::computeLhsPriority( int rhsPriority ) const {
    switch( _relation ) {
    case EQUAL:
    case LESS_OR_EQUAL:
        return rhsPriority;
    case LESS:
        QV_ASSERT( rhsPriority > std::numeric_limits<int>::min() );
        return rhsPriority - 1;
    }
    Assertions::throwProgramAborted( QV_HERE, nullptr );
}

void PriorityRelation::dump( std::ostream& stream ) const {
    std::string text;
    {
        const LkGuard<const LkLock> guard( _lhs->mgr.getLock() );
        text = describeNoLock();
    }
    stream << text;
}

std::string PriorityRelation::describeNoLock() const {
    std::string text = '"' + _name + '"';
    text.resize( std::max<std::size_t>( text.size(), 10 ), ' ' );
    return text + " : " + nameWithValue( *_lhs ) + relationToString( _relation ) + ' ' +
           nameWithValue( *_rhs ) + ( checkNoLock() ? "valid\n" : "NOT valid\n" );
}

const char* PriorityRelation::relationToString( Relation relation ) {
    switch( relation ) {
    case EQUAL:
        return "==";
    case LESS:
        return "< ";
    case LESS_OR_EQUAL:
        return "<=";
    }
    Assertions::throwProgramAborted( QV_HERE, nullptr );
}

} // namespace Qv
