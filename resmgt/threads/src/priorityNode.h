#pragma once

#include <base/locks/lkCounter.h>
#include <base/ownership/rcBase.h>
#include <resmgt/threads/priority.h>

#include <cstdint>
#include <set>
#include <string>

namespace Qv {

class PriorityRelation;

/// What a graph knows of a Priority. Relations hold it too, so that it lives on where the priority
/// ends before them.
///
/// Lock: the manager's, for all that changes.
struct PriorityNode : RCBase<LkCounter<int>> {
    /// By the address of the priority. Another one can have the same once it has ended.
    struct ByPlace {
        bool operator()( const PriorityNode* a, const PriorityNode* b ) const noexcept;
    };
    using Nodes = std::set<PriorityNode*, ByPlace>;
    using Relations = std::set<PriorityRelation*>;

    PriorityNode( Priority& prio, const LiString& nodeName, PriorityMgr& nodeMgr, int value,
                  PriorityUpdate* client );

    bool isUsed() const noexcept;
    /// Raises PriorityEx::ExPriorityInUse, with the first relation.
    void refuseIfUsed() const;
    /// The lines of Priority::dump.
    std::string describe( bool withRelations ) const;

    const LiString name;
    PriorityMgr& mgr;
    /// Null also where the priority has ended.
    PriorityUpdate* update;
    int prio;
    const bool isFixed;
    /// LESS and LESS_OR_EQUAL, with this node on the left; the same, on the right; EQUAL.
    Relations dependants;
    Relations dependOns;
    Relations equals;

    // During a computation. An equality group is represented by the member that was reached first.

    /// The representative; null before the group is reached.
    PriorityNode* equalTo = nullptr;
    /// The inputs, of this node or of its group, that are still to come.
    int count = 0;
    /// Of a representative: some member is fixed.
    bool isEqualFixed = false;
    /// Of a representative: the group's value. Its own is another one where both it and another
    /// member are fixed.
    int groupPrio = 0;
    /// This member has its value, and has handed it on.
    bool isFinished = false;
    /// The value before.
    int formerPrio = 0;
    /// The last walk for cycles that has seen this node.
    std::uint64_t walk = 0;

    /// Null once it has ended.
    Priority* priority;
    const void* const place;
    /// The node's element of the set of leaves while it isn't in there, so that its way back needs
    /// no memory.
    Nodes::node_type leafSeat;
};

} // namespace Qv
