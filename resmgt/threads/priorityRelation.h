#pragma once

#include <base/ownership/rcShdPtr.h>
#include <resmgt/literals/liString.h>
#include <resmgt/resmgtApi.h>

#include <cstdint>
#include <iosfwd>

namespace Qv {

class Priority;
struct PriorityNode;

/// A named statement about two nodes of one graph, in force as long as this object exists.
///
/// Threads: any, under the manager's lock.
/// Errors:  a constructor that raises has left the graph, and all numbers, as they were; clients
///          that had got other ones get the former ones again. The end of a relation can raise
///          PriorityEx::ExRelationInvalid, where another relation doesn't hold, and what a client
///          raises; this one is gone in any case. During unwinding it is reported.
class QV_RESMGT_API PriorityRelation {
public:
    /// Of the left node's number to the right one's; any other value aborts the program.
    enum Relation : std::int32_t {
        EQUAL = 0,         ///< both are the same
        LESS = 1,          ///< the left one is below the right one
        LESS_OR_EQUAL = 2, ///< the left one is at most the right one
    };

    /// Adds the relation to the nodes' manager.
    ///
    /// Assertions: "&_lhs.getMgr() == &_rhs.getMgr()";
    ///             "rel._rhs.findDependantRecNoLock( &rel._lhs ) == 0", where LESS and
    ///             LESS_OR_EQUAL lead from the right node to the left one, or both are the same;
    ///             "minPrio <= prio->_prio", where a fixed node would have to be higher;
    ///             "minPrio <= _maxPrio", where the range has too few values.
    /// Raises PriorityEx::ExRelationInvalid where two fixed values are made equal, and where a
    /// cycle leads through nodes that are equal, unless they are fixed at values that satisfy it.
    PriorityRelation( const LiString& name, Priority& lhs, Relation relation, Priority& rhs );
    /// Another relation that states the same.
    PriorityRelation( const PriorityRelation& other );
    PriorityRelation& operator=( const PriorityRelation& ) = delete;
    ~PriorityRelation() noexcept( false );

    const LiString& getName() const noexcept { return _name; }
    /// Both assert where the priority has ended before this relation.
    Priority& getLhs() const;
    Priority& getRhs() const;
    bool isRelation( Relation relation ) const noexcept { return relation == _relation; }
    /// Whether the node is one of the two.
    bool uses( const Priority& prio ) const noexcept;
    /// Whether the two current numbers are as stated.
    bool check() const;
    /// The lowest value of the right node for the left one's value. A result that no int can hold
    /// is an assertion, as for the next one.
    int computeRhsPriority( int lhsPriority ) const;
    /// The highest value of the left node for the right one's.
    int computeLhsPriority( int rhsPriority ) const;
    /// One line: the name in double quotes, filled up with blanks to 10 columns, " : ", the left
    /// name, " ( ", the left number in 4 columns, " ) ", the relation's text, a blank, the right
    /// name and number in the same form, and "valid" or "NOT valid".
    void dump( std::ostream& stream ) const;

    /// "==", "< " or "<=".
    static const char* relationToString( Relation relation );

private:
    friend class PriorityGraph;
    friend class PriorityMgr;
    friend struct PriorityNode;

    static Priority& getPriority( const PriorityNode& node );
    PriorityNode& getOther( const PriorityNode& node ) const noexcept;
    // REQUIRES: the manager's lock is held.
    bool checkNoLock() const;
    std::string describeNoLock() const;

    const LiString _name;
    const Relation _relation;
    const RCShdPtr<PriorityNode> _lhs;
    const RCShdPtr<PriorityNode> _rhs;
};

} // namespace Qv
