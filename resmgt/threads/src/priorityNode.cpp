#include <resmgt/threads/src/priorityNode.h>

#include <base/failure/qvHere.h>
#include <resmgt/threads/priorityEx.h>
#include <resmgt/threads/priorityRelation.h>

#include <functional>

namespace Qv {

bool PriorityNode::ByPlace::operator()( const PriorityNode* a,
                                        const PriorityNode* b ) const noexcept {
    const std::less<const void*> isBefore;
    return a->place != b->place ? isBefore( a->place, b->place ) : isBefore( a, b );
}

PriorityNode::PriorityNode( Priority& prioritySelf, const LiString& nodeName, PriorityMgr& nodeMgr,
                            int value, PriorityUpdate* client )
    : name( nodeName )
    , mgr( nodeMgr )
    , update( client )
    , prio( value )
    , isFixed( value != Priority::NOT_SET )
    , priority( &prioritySelf )
    , place( &prioritySelf ) {}

bool PriorityNode::isUsed() const noexcept {
    return !dependants.empty() || !dependOns.empty() || !equals.empty();
}

void PriorityNode::refuseIfUsed() const {
    for( const Relations* const relations : { &dependants, &dependOns, &equals } ) {
        if( !relations->empty() ) {
            const PriorityRelation& rel = **relations->begin();
            const std::string& lhs = rel._lhs->name;
            throw PriorityEx::ExPriorityInUse( QV_HERE, name, rel.getName(),
                                               lhs == name ? rel._rhs->name : lhs );
        }
    }
}

std::string PriorityNode::describe( bool withRelations ) const {
    std::string text =
        name + " prio " + std::to_string( prio ) + " fixed " + ( isFixed ? "1\n" : "0\n" );
    if( withRelations ) {
        const std::pair<const char*, const Relations*> sections[] = {
            { "Dependants: \n", &dependants },
            { "DependOns: \n", &dependOns },
            { "Equals: \n", &equals },
        };
        for( const auto& [title, relations] : sections ) {
            text += title;
            for( const PriorityRelation* const rel : *relations ) {
                text += rel->describeNoLock();
            }
        }
    }
    return text;
}

} // namespace Qv
