#pragma once

#include <base/containers/hashMap.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Qv {

class ObObserverAny;
class ObPasses;
class ObSubjectAny;
struct ObRelation;

/// The observers of a subject in the order of subscription, as passes read them.
///
/// A slot is filled once, before a pass can see it, and struck out once; it isn't used again while
/// a pass may read it. So a pass reads without a lock, and an observer that is removed vanishes
/// from the passes under way.
///
/// Order: a pass gets the slots' contents through the manager's lock; see ObPass for the striking
///        out.
class ObSlots {
public:
    /// An observer's address; bit 0 says that it isn't to be called.
    using Slot = std::atomic<std::uintptr_t>;
    static constexpr std::uintptr_t NOT_CALLED = 1;

    explicit ObSlots( std::size_t capacity );

    static ObObserverAny* getObserver( std::uintptr_t slot ) noexcept {
        return reinterpret_cast<ObObserverAny*>( slot & ~NOT_CALLED );
    }
    /// The same for one that is to be called.
    static ObObserverAny* getCalled( std::uintptr_t slot ) noexcept {
        return reinterpret_cast<ObObserverAny*>( slot );
    }
    std::span<const Slot> getAll() const noexcept { return { _slots.get(), _size }; }

    bool isFull() const noexcept { return _size == _capacity; }
    /// Whether some aren't to be called.
    bool hasGaps() const noexcept { return _nbNotCalled != 0; }
    /// By one pass at least, beside the subject that they belong to. Passes that have ended count
    /// until they are reaped.
    bool isInUse() const noexcept { return _nbUsers > 1; }
    void addUser() noexcept { ++_nbUsers; }
    /// Appends. REQUIRES: not full.
    void append( ObRelation& relation, bool isCalled ) noexcept;
    void strikeOut( std::size_t index ) noexcept;
    /// The same by search, for slots that have been left to the passes under way.
    void strikeOut( const ObObserverAny* observer ) noexcept;
    /// Closes the gaps. REQUIRES: not in use.
    void compact() noexcept;
    /// Appends what isn't struck out, which belongs to `target` from then on.
    void moveTo( ObSlots& target ) noexcept;

    /// Guarded by the manager's lock.
    std::size_t _nbUsers = 1;
    /// Whether the relations know their places here no more.
    bool _isDetached = false;

private:
    const std::size_t _capacity;
    std::size_t _size = 0;
    std::size_t _nbNotCalled = 0;
    const std::unique_ptr<Slot[]> _slots;
    const std::unique_ptr<ObRelation*[]> _relations;
};

/// One observer of one subject, linked with the others of the observer.
struct ObRelation {
    ObSubjectAny* subject = nullptr;
    ObObserverAny* observer = nullptr;
    std::size_t index = 0;
    ObRelation* previous = nullptr;
    ObRelation* next = nullptr;
};

/// All relations of a manager, found by subject, by observer and by both.
///
/// Errors: without memory nothing has changed.
/// Lock:   the manager's, for everything.
class ObRelations {
public:
    /// `passes` are those of the same manager; they outlive this object.
    explicit ObRelations( ObPasses& passes ) noexcept
        : _passes( passes ) {}
    ObRelations( const ObRelations& ) = delete;
    ObRelations& operator=( const ObRelations& ) = delete;
    ~ObRelations();

    /// False if it exists. `isCalled` is false for one that no pass may call.
    bool insert( ObSubjectAny* subject, ObObserverAny* observer, bool isCalled );
    enum Erased { NONE, ONE, THE_LAST };
    /// Passes under way aren't touched. THE_LAST: the subject has no others.
    Erased erase( ObSubjectAny* subject, ObObserverAny* observer );
    /// Erases the subject's relations and leaves the slots to the caller, who gives them back with
    /// `release`; null if there are none. Passes under way aren't touched.
    ObSlots* eraseSubject( const ObSubjectAny* subject ) noexcept;
    /// Erases the observer's relations, also for the passes under way that haven't detached slots.
    void eraseObserver( const ObObserverAny* observer ) noexcept;

    /// The slots of a pass that begins; null if the subject has no observers.
    ObSlots* find( const ObSubjectAny* subject ) noexcept;
    static void release( ObSlots* slots ) noexcept;

    std::size_t getNbRelations() const noexcept { return _relations.size(); }
    std::size_t getNbSubjects() const noexcept { return _subjects.size(); }

private:
    struct Key {
        const ObSubjectAny* subject;
        const ObObserverAny* observer;
        bool operator==( const Key& ) const = default;
    };
    struct KeyHash {
        std::size_t operator()( const Key& key ) const noexcept;
    };
    struct Subject {
        ObSlots* slots = nullptr;
        std::size_t nbObservers = 0;
    };
    using Relations = HashMap<Key, ObRelation, KeyHash>;
    using Subjects = HashMap<const ObSubjectAny*, Subject>;

    void append( ObRelation& relation, bool isCalled );
    void makeRoom( Subject& subject, std::size_t nbMore );
    void link( ObRelation& relation );
    void unlink( const ObRelation& relation ) noexcept;
    void detach( ObSlots* slots ) noexcept;
    bool isInUse( const ObSlots& slots ) noexcept;

    ObPasses& _passes;
    Relations _relations;
    Subjects _subjects;
    /// Each observer's newest relation.
    HashMap<const ObObserverAny*, ObRelation*> _observers;
};

} // namespace Qv
