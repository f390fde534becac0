#pragma once

#include <base/qvBaseApi.h>

#include <exception>
#include <memory>
#include <string>

namespace Qv {

/// Root of every exception of the system.
///
/// Text:    `getReason` is the message alone; `what` and `getDetailedReason` add file and line.
/// Copying: never throws; copies share the text.
/// Threads: as any value; different copies may be used on different threads.
/// Cost:    construction records the call stack as raw addresses, which become text on demand.
///
/// A concrete class derives through ExCloneable, formats its message and calls `setReason`:
///
///     class MbEx::ExRangeError : public ExCloneable<MbEx::ExRangeError, MbEx> {
///     public:
///         ExRangeError( const char* file, int line, const char* what );
///     };
///     throw MbEx::ExRangeError( QV_HERE, "size" );
class QV_BASE_API ExBase : public std::exception {
public:
    /// `file` is kept, not copied: pass QV_HERE.
    ExBase( const char* file, int line );
    ExBase( const ExBase& other ) noexcept;
    ExBase& operator=( const ExBase& other ) noexcept;
    ~ExBase() override;

    const char* what() const noexcept override;
    virtual const char* getReason() const noexcept;
    virtual const char* getDetailedReason() const noexcept;
    /// A new heap copy with this object's dynamic type, owned by the caller.
    virtual ExBase* clone() const = 0;
    /// Throws a copy of this object with its dynamic type.
    [[noreturn]] virtual void raise() const = 0;

    const char* getFileName() const noexcept { return _fileName; }
    int getLineNo() const noexcept { return _lineNo; }
    /// The functions that were active where the exception was built, one a line, innermost first.
    std::string getStackText() const;

protected:
    /// Appends `text` to the reason.
    void setReason( const char* text );

private:
    struct Content;

    const char* _fileName;
    int _lineNo;
    std::shared_ptr<const Content> _content;
};

/// Supplies `clone` and `raise` of the concrete exception class `Self`.
template <class Self, class Base>
class QV_TEMPLATE_API ExCloneable : public Base {
public:
    using Base::Base;

    ExBase* clone() const override { return new Self( static_cast<const Self&>( *this ) ); }
    [[noreturn]] void raise() const override { throw Self( static_cast<const Self&>( *this ) ); }
};

} // namespace Qv
