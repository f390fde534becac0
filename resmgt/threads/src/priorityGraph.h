#pragma once

#include <resmgt/threads/priorityRelation.h>
#include <resmgt/threads/src/priorityNode.h>

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace Qv {

/// The nodes and relations of a manager, and the computation of their numbers.
///
/// Each node waits until all its inputs have come, one for each relation whose right side it is, or
/// the one that each leaf is given; a group of equal nodes waits for those of all members. Only
/// then it hands its value on, so that each relation is visited once. What depends on a cycle
/// through equal nodes never gets all its inputs, and keeps a value that fails the validation,
/// unless the nodes are fixed at values that satisfy it.
///
/// Depth: the visits are those of a depth-first recursion, in its order; a stack of their own keeps
///        what is still to be visited.
/// Memory: an insertion makes room for all that follows.
/// Lock:  the manager's.
class PriorityGraph {
public:
    PriorityGraph( int minPrio, int maxPrio ) noexcept;
    PriorityGraph( const PriorityGraph& ) = delete;
    PriorityGraph& operator=( const PriorityGraph& ) = delete;

    // These assert, and have changed nothing then.

    void insert( PriorityNode& node );
    void insert( PriorityRelation& rel );
    void erase( PriorityNode& node );

    /// False where it isn't there. Takes out an end too whose priority has ended, with its last
    /// relation.
    bool erase( PriorityRelation& rel ) noexcept;
    void assertEmpty() const;

    /// The values that the next computation finds are those that `restore` puts back.
    void beginChange() noexcept { _isSaved = false; }
    /// The assertions "minPrio <= _maxPrio" and "minPrio <= prio->_prio" leave it unfinished.
    void compute();
    /// Nothing where nothing was computed since `beginChange`.
    void restore() noexcept;

    /// The first relation that doesn't hold, or null.
    const PriorityRelation* findInvalid() const;
    const PriorityNode::Nodes& getPrios() const noexcept { return _prios; }
    /// The text of PriorityMgr::dump.
    std::string describe() const;

private:
    /// A visit that is still to be made.
    struct Visit {
        enum Kind { PROPAGATE, RESET_EQUAL_TO };

        Kind kind;
        PriorityNode* node;
        int value;
    };

    bool hasDependantRec( PriorityNode& from, const PriorityNode& searched );
    void reserve();
    void link( PriorityRelation& rel );

    void resetValues() noexcept;
    void visitAll();
    void propagate( PriorityNode& node, int minPrio );
    void propagateGroup( PriorityNode& node, int minPrio );
    void setEqualTo( PriorityNode& representative ) noexcept;
    void resetEqualTo( PriorityNode& node, int value ) noexcept;
    void pushDependants( const PriorityNode& node, int value ) noexcept;

    const int _minPrio;
    const int _maxPrio;
    /// What free nodes have before they are reached: below the range, and never above -1.
    const int _resetPrio;
    PriorityNode::Nodes _prios;
    /// Those that are on the right side of no relation but EQUAL.
    PriorityNode::Nodes _leafPrios;
    PriorityNode::Relations _relations;
    bool _isSaved = false;
    std::uint64_t _nbWalks = 0;
    // At most one entry for each relation, and the first one.
    std::vector<Visit> _visits;
    std::vector<PriorityNode*> _unvisited;
};

} // namespace Qv
