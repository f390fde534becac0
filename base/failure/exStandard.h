#pragma once

#include <base/failure/exBase.h>
#include <base/ownership/oPtr.h>
#include <base/qvBaseApi.h>

namespace Qv {

/// A fault of the program itself.
class QV_BASE_API ExInternalError : public ExCloneable<ExInternalError, ExBase> {
public:
    ExInternalError( const char* file, int line, const char* message );

protected:
    /// For derived classes that build their reason themselves.
    ExInternalError( const char* file, int line );
};

/// Stands for something caught that was no ExBase.
class QV_BASE_API ExCaughtException : public ExCloneable<ExCaughtException, ExBase> {
public:
    /// `context` is where it was caught, `type` what it was, `detail` what it said; each may be
    /// null.
    ExCaughtException( const char* file, int line, const char* context, const char* type,
                       const char* detail );
};

/// Carries an exception taken from one thread into another. Only `Ex` = ExBase is used.
template <class Ex>
class ExRethrow;

template <>
class QV_BASE_API ExRethrow<ExBase> : public ExCloneable<ExRethrow<ExBase>, ExBase> {
public:
    /// Takes `original` over, which isn't null. The reason is the original's.
    ExRethrow( const char* file, int line, OPtr<ExBase> original );
    ExRethrow( const ExRethrow& other ) noexcept;
    ExRethrow& operator=( const ExRethrow& other ) noexcept;
    ~ExRethrow() override;

    const ExBase& getOriginal() const noexcept { return *_original; }

private:
    std::shared_ptr<const ExBase> _original;
};

} // namespace Qv
