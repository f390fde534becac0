#pragma once

#include <base/ownership/rcShdPtr.h>
#include <resmgt/literals/liString.h>
#include <resmgt/resmgtApi.h>

#include <iosfwd>

namespace Qv {

struct PriorityNode;
class PriorityMgr;
class PriorityUpdate;

/// A named node of a graph of priorities. What is known about it is stated as PriorityRelation;
/// PriorityMgr turns that into its number. docs/threads.md has a worked example.
///
/// Values:   a free node has the lowest number that all relations allow. A fixed one keeps the
///           number that it was given.
/// Threads:  any, under the manager's lock.
/// Lifetime: the manager and the client outlive it, and it outlives the relations that use it.
///           Destroying it earlier raises PriorityEx::ExPriorityInUse. The object is gone then; the
///           graph keeps what it knows of it, without the client, until its last relation goes, so
///           that all numbers stay right. An owning pointer, and a destructor during the unwinding
///           of another exception, report the exception instead of raising it.
///
///     Priority decoder( "decoder", MtPriorityMgr::getInstance() );
///     PriorityRelation below( "decoder", decoder, PriorityRelation::LESS, realTime );
class QV_RESMGT_API Priority {
public:
    /// Stands for "free", so that no node can be fixed at this value.
    static constexpr int NOT_SET = -1;

    /// Fixed, if `prio` isn't NOT_SET. A fixed value outside the manager's range fails the
    /// assertion "_minPrio <= prio && prio <= _maxPrio". `update`, which may be null, is given the
    /// number at once; if it raises, nothing is left in the graph.
    Priority( const LiString& name, PriorityMgr& mgr, int prio = NOT_SET,
              PriorityUpdate* update = nullptr );
    /// A node of the same name, manager and client, free or fixed at the same value, without
    /// relations.
    Priority( const Priority& other );
    Priority& operator=( const Priority& ) = delete;
    virtual ~Priority() noexcept( false );

    /// Need not be unique.
    const LiString& getName() const noexcept;
    PriorityMgr& getMgr() const noexcept;
    bool isPriorityFixed() const noexcept;
    /// After a change that raised PriorityEx::ExRelationInvalid and left its relation, this may be
    /// a value below the manager's range: one that the computation didn't reach.
    int getPriority() const;
    /// Moves a fixed node, and all that depend on it. A free one stays as it is computed.
    ///
    /// Errors: a value outside the range, and one that doesn't let the others fit into it, is an
    ///         assertion, and changes nothing. PriorityEx::ExRelationInvalid leaves the value and
    ///         what was computed from it.
    void setPriority( int prio );
    /// One line: name, " prio ", the number, " fixed " and 0 or 1. Then, if `withRelations` is set,
    /// the sections "Dependants: ", "DependOns: " and "Equals: " with a line for each relation.
    void dump( std::ostream& stream, bool withRelations ) const;

private:
    friend class PriorityMgr;
    friend class PriorityRelation;

    const RCShdPtr<PriorityNode> _node;
};

} // namespace Qv
