#pragma once

#include <base/containers/iteratorEx.h>
#include <base/ownership/rcPvtEngPtr.h>

#include <memory>
#include <ranges>
#include <type_traits>

namespace Qv {

namespace IteratorUtil {

/// Raises IteratorEx::ExOutOfRange.
[[noreturn]] QV_BASE_API void throwExOutOfRange();

} // namespace IteratorUtil

/// A position in a range of `T`; hides which container the range is of.
template <class T>
class IteratorEng : public RCBase<LkCounter<int>> {
public:
    /// Null at the end.
    virtual const T* getCurrent() const = 0;
    /// REQUIRES: not at the end.
    virtual void advance() = 0;
    /// A copy that stands at the same place.
    virtual IteratorEng* clone() const = 0;
};

/// Checked handle for walking over the elements of any container of `T`.
///
///     for( ConstIterator<int> it = numbers.getIterator(); !it.isAtEnd(); ++it ) {
///         sum += *it;
///     }
///
/// Errors:   dereferencing or advancing at the end raises IteratorEx::ExOutOfRange. A default
///           constructed handle is at the end.
/// Lifetime: the container must outlive the handle; a change of the container invalidates the
///           handle where it would invalidate the standard container's iterators. Not checked.
/// Copying:  copies move independently of each other.
/// Cost:     an allocation for each handle, and for the first move of a copy. Where an element's
///           existence is known, use the container's begin and end.
template <class T>
class ConstIterator {
public:
    ConstIterator() noexcept = default;
    /// Takes over a new engine.
    explicit ConstIterator( IteratorEng<T>* engine ) noexcept
        : _engine( engine ) {}

    const T& operator*() const { return *checked(); }
    const T* operator->() const { return checked(); }
    ConstIterator& operator++() {
        checked();
        if( _engine->getRefCount() > 1 ) {
            _engine = RCPvtEngPtr<IteratorEng<T>>( _engine->clone() );
        }
        _engine->advance();
        return *this;
    }

    bool isAtEnd() const { return current() == nullptr; }
    explicit operator bool() const { return !isAtEnd(); }
    /// Whether both stand at the same element; handles at the end are all equal.
    bool operator==( const ConstIterator& other ) const { return current() == other.current(); }

protected:
    /// The element; raises IteratorEx::ExOutOfRange at the end.
    const T* checked() const {
        const T* const element = current();
        if( element == nullptr ) {
            IteratorUtil::throwExOutOfRange();
        }
        return element;
    }

private:
    const T* current() const { return _engine.isNull() ? nullptr : _engine->getCurrent(); }

    RCPvtEngPtr<IteratorEng<T>> _engine;
};

/// The same for elements that may be changed. REQUIRES: its engine was made by a container that
/// isn't const.
template <class T>
class Iterator : public ConstIterator<T> {
public:
    using ConstIterator<T>::ConstIterator;

    T& operator*() const { return const_cast<T&>( *this->checked() ); }
    T* operator->() const { return const_cast<T*>( this->checked() ); }
    Iterator& operator++() {
        ConstIterator<T>::operator++();
        return *this;
    }
};

/// The engine over a standard container's range.
template <class Position, class T>
class RangeIteratorEng final : public IteratorEng<T> {
public:
    RangeIteratorEng( Position begin, Position end )
        : _current( begin )
        , _end( end ) {}

    const T* getCurrent() const override {
        return _current == _end ? nullptr : std::addressof( *_current );
    }
    void advance() override { ++_current; }
    RangeIteratorEng* clone() const override { return new RangeIteratorEng( *this ); }

private:
    Position _current;
    Position _end;
};

/// The additions of the library's containers to the standard container `Std`.
template <class Std>
class CheckedContainer : public Std {
public:
    using Std::Std;
    /// What the container holds.
    using Element = typename Std::value_type;

    bool isEmpty() const noexcept { return this->empty(); }

    /// Checked handle at the first element. It gives write access unless the container, or what
    /// stands in it (a set's elements), is const.
    auto getIterator() { return makeIterator( *this ); }
    auto getIterator() const { return makeIterator( *this ); }

private:
    template <class Self>
    static auto makeIterator( Self& self ) {
        using Reference = std::ranges::range_reference_t<Self>;
        using Handle = std::conditional_t<std::is_const_v<std::remove_reference_t<Reference>>,
                                          ConstIterator<Element>, Iterator<Element>>;
        using Engine = RangeIteratorEng<std::ranges::iterator_t<Self>, Element>;
        return Handle( new Engine( self.begin(), self.end() ) );
    }
};

} // namespace Qv
