#pragma once

#include <base/containers/set.h>
#include <base/locks/lkLock.h>
#include <resmgt/resmgtApi.h>

#include <iosfwd>
#include <memory>
#include <string>

namespace Qv {

/// What all types have in common: nothing yet.
class QV_RESMGT_API RttiTypes {};

/// A node of the application's graph of types: a number, a name, and links to the types above and
/// below. The graph has no cycles. It isn't the language's type information.
///
///     class NodeType : public RttiTypeBase {
///     public:
///         NodeType( int id, const char* name ) : RttiTypeBase( id ), _name( name ) {}
///         using RttiTypeBase::addAncestor;
///         const char* getName() const override { return _name; }
///         ...
///     };
///     blur.addAncestor( &filter );
///     blur.isIndirectAncestor( &node );      // blur - filter - node
///
/// Types may come and go in any order: from static initialisers and unloaded libraries too, before
/// and after the package's start. A type that dies takes its links along; no link is made across
/// it. Numbers and names may repeat; finding a type by them is the application's affair.
///
/// Threads: any, for everything; the types that an operation is given are alive meanwhile. One lock
///          guards the graph, so that two threads can't close a cycle between them; it precedes
///          each node's lock of its descendants.
/// Names:   `getName` isn't asked of a type that may be dying: a type's name is copied when it gets
///          its first link.
/// Errors:  null pointers are assertions. After a failure the graph is as before.
/// Cost:    a walk visits each type and each link at most once, without memory or recursion.
class QV_RESMGT_API RttiTypeBase : public RttiTypes {
public:
    RttiTypeBase( const RttiTypeBase& ) = delete;
    RttiTypeBase& operator=( const RttiTypeBase& ) = delete;

    /// Lives as long as the type. May be called from the constructor of the class that overrides
    /// it.
    virtual const char* getName() const = 0;
    /// "RttiTypeBase ", the name, " (TypeId ", the number, ")", then "Ancestors:" and
    /// "Descendants:", each followed by one such line per direct link without the first word, by
    /// number and name. Each line begins with `indent`.
    virtual void dump( std::ostream& stream, const char* indent = "" ) const;

    int getTypeId() const noexcept { return _typeId; }
    /// Direct links.
    int getNbAncestors() const;
    int getNbDescendants() const;
    bool isAncestor( const RttiTypeBase* type ) const;
    bool isDescendant( const RttiTypeBase* type ) const;
    /// Whether `type` is reached through one link or more.
    bool isIndirectAncestor( const RttiTypeBase* type ) const;
    bool isIndirectDescendant( const RttiTypeBase* type ) const;
    /// Over a copy of the direct links of this moment.
    ConstIterator<RttiTypeBase*> getAncestors() const;
    ConstIterator<RttiTypeBase*> getDescendants() const;

protected:
    explicit RttiTypeBase( int typeId );
    /// Removes all links. No other thread may be about to link this type.
    virtual ~RttiTypeBase();

    /// Puts `type` above this one.
    ///
    /// Errors: RttiEx::ExCycle if it is this type or below it, RttiEx::ExAlreadyExists if it is a
    ///         direct ancestor.
    void addAncestor( RttiTypeBase* type );

private:
    using Types = Set<RttiTypeBase*>;
    struct Walk;

    void removeAncestor( RttiTypeBase* type );
    void keepName();

    const int _typeId;
    /// Guarded by the graph's lock, as all that follows.
    Types _ancestors;
    /// Changed under both locks, and so read under either.
    Types _descendants;
    const std::unique_ptr<const LkLock> _descendantsLock;
    std::string _name;
    /// The last walk that came here, and the next type that it goes to.
    mutable unsigned long long _walk = 0;
    mutable const RttiTypeBase* _nextInWalk = nullptr;
};

QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const RttiTypeBase& type );

} // namespace Qv
