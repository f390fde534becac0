#include <resmgt/threads/priority.h>

#include <base/locks/lkGuard.h>
#include <resmgt/threads/priorityMgr.h>
#include <resmgt/threads/src/mtDestructor.h>
#include <resmgt/threads/src/priorityNode.h>

#include <ostream>

namespace Qv {

Priority::Priority( const LiString& name, PriorityMgr& mgr, int prio, PriorityUpdate* update )
    : _node( new PriorityNode( *this, name, mgr, prio, update ) ) {
    mgr.enter( *_node );
}

Priority::Priority( const Priority& other )
    : Priority( other.getName(), other.getMgr(),
                other.isPriorityFixed() ? other.getPriority() : NOT_SET, other._node->update ) {}

Priority::~Priority() noexcept( false ) {
    runDestructor( [this] { getMgr().leave( *_node ); } );
}

const LiString& Priority::getName() const noexcept {
    return _node->name;
}

PriorityMgr& Priority::getMgr() const noexcept {
    return _node->mgr;
}

bool Priority::isPriorityFixed() const noexcept {
    return _node->isFixed;
}

int Priority::getPriority() const {
    const LkGuard<const LkLock> guard( getMgr().getLock() );
    return _node->prio;
}

void Priority::setPriority( int prio ) {
    getMgr().setValue( *_node, prio );
}

void Priority::dump( std::ostream& stream, bool withRelations ) const {
    std::string text;
    {
        const LkGuard<const LkLock> guard( getMgr().getLock() );
        text = _node->describe( withRelations );
    }
    stream << text;
}

} // namespace Qv
