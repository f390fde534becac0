#pragma once

#include <base/containers/set.h>
#include <base/locks/lkLock.h>
#include <resmgt/literals/liString.h>
#include <resmgt/resmgtApi.h>

#include <cstdint>
#include <iosfwd>
#include <memory>

namespace Qv {

class Priority;
class PriorityGraph;
struct PriorityNode;
class PriorityRelation;

/// A graph of priorities, and the numbers that follow from its relations: the lowest within a range
/// that satisfy all of them. MtPriorityMgr is the one of the process's threads; any other range of
/// values can have one of its own.
///
/// Each change computes all numbers anew, checks all relations, and gives each client its number,
/// in one order for all clients. Nodes and relations add and remove themselves: `add` and `remove`
/// are for who takes them out for a time.
///
/// Values:    fixed nodes push what is above them, equal nodes move together. Two different fixed
///            values of nodes that are equal make a relation invalid.
/// Threads:   any. One lock guards the graph and all its numbers; it is held while clients get
///            them. Lock order: this lock, then the client's own. A client may read the manager
///            from there, on the same thread; a change from there asserts "!_isUpdating". A node or
///            relation that is destroyed there is taken out before, and the numbers follow with the
///            next change.
/// Errors:    a failed assertion leaves all numbers as they were. PriorityEx::ExRelationInvalid
///            leaves what was computed, which clients don't get. After both, a relation stays that
///            was handed to `add`, and is gone that was handed to `remove`; only constructors take
///            out again what they put in. What clients raise comes after all of them have got their
///            numbers: the first goes to the caller, the others are reported.
/// Memory:    taken only where a node or a relation is added, before anything changes.
/// Lifetime:  nodes and relations go first. The destructor asserts "_prios.size() == 0",
///            "_leafPrios.size() == 0" and "_relations.size() == 0"; during unwinding it reports.
/// Cost:      a change is linear in the number of nodes and relations, at any depth.
class QV_RESMGT_API PriorityMgr {
public:
    /// Why a relation is refused.
    enum Error : std::int32_t { NONE = 0, RELATION_INVALID = 1 };

    /// The range includes both ends. "minPrio <= maxPrio", a top of INT_MAX and a bottom of INT_MIN
    /// are assertions: computing needs a value on either side.
    PriorityMgr( const LiString& name, int minPrio, int maxPrio );
    PriorityMgr( const PriorityMgr& ) = delete;
    PriorityMgr& operator=( const PriorityMgr& ) = delete;
    virtual ~PriorityMgr() noexcept( false );

    /// The node has no relations then; its client gets the number. Nothing is computed. Where the
    /// client raises, the node stays. "_prios.insert( &prio ).second" fails for one that is there.
    void add( Priority& prio );
    /// REQUIRES: both ends are in this manager.
    void add( PriorityRelation& rel );
    /// The node must be added again before its end.
    ///
    /// Errors: "_prios.erase( &prio ) == 1" fails for one that isn't there, and
    ///         "_leafPrios.erase( &prio ) == 1" for one on the right side of LESS or LESS_OR_EQUAL;
    ///         PriorityEx::ExPriorityInUse for one that other relations use. Nothing is changed.
    void remove( Priority& prio );
    /// Does nothing where it isn't there.
    void remove( PriorityRelation& rel );
    /// Looks at all relations. NONE if all of them hold.
    Error check();
    /// The sections "Priorities:", "Independant: ", the nodes that are above no other, and
    /// "Relations: ", with a line for each. Nodes and relations are in the order of their
    /// addresses.
    void dump( std::ostream& stream ) const;

    /// What isTracingEnabled answers from now on.
    void enableTracing( bool isEnabled );
    /// True at first. Nothing here depends on it.
    bool isTracingEnabled() const;
    const LiString& getName() const noexcept { return _name; }

    /// "RELATION_INVALID"; any other value aborts the program, NONE included.
    static const char* errorToString( Error error );

protected:
    const LkLock& getLock() const noexcept QV_RETURN_CAPABILITY( _lock ) { return _lock; }

    /// Computes all numbers. What it raises has them put back.
    virtual void performUpdate() QV_REQUIRES( getLock() );
    /// Called in place of the clients where a relation doesn't hold. Raises
    /// PriorityEx::ExRelationInvalid; a derived class that returns accepts the numbers as they are.
    virtual void updateError( Error error ) QV_REQUIRES( getLock() );
    /// Those that haven't ended.
    Set<Priority*> getPriosNoLock() const QV_REQUIRES( getLock() );

private:
    friend class Priority;
    friend class PriorityRelation;
    class UpdateScope;

    // For constructors and destructors.
    void enter( PriorityNode& node );
    void enter( PriorityRelation& rel );
    void leave( PriorityNode& node );
    void leave( PriorityRelation& rel );
    void setValue( PriorityNode& node, int prio );

    void insert( PriorityNode& node ) QV_REQUIRES( _lock );
    bool erase( PriorityRelation& rel ) QV_REQUIRES( _lock );
    void takeBack( PriorityRelation& rel ) QV_REQUIRES( _lock );
    void checkInRange( int prio ) const;
    void notify() QV_REQUIRES( _lock );
    void update() QV_REQUIRES( _lock );
    void publish() QV_REQUIRES( _lock );
    void tellClient( const PriorityNode& node ) QV_REQUIRES( _lock );
    void tellClients() QV_REQUIRES( _lock );

    const LiString _name;
    const LkLock _lock;
    const int _minPrio;
    const int _maxPrio;
    bool _isTracing QV_GUARDED_BY( _lock ) = true;
    const PriorityRelation* _failedRelation QV_GUARDED_BY( _lock ) = nullptr;
    /// Numbers are being computed, or given to clients, by the thread that holds the lock.
    bool _isUpdating QV_GUARDED_BY( _lock ) = false;
    /// Clients may have got the numbers of the present change.
    bool _isTold QV_GUARDED_BY( _lock ) = false;
    /// The nodes and relations: `_prios`, `_leafPrios` and `_relations`.
    std::unique_ptr<PriorityGraph> _graph QV_PT_GUARDED_BY( _lock );
};

} // namespace Qv
