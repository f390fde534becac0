#pragma once

#include <base/failure/exBase.h>
#include <base/qvBaseApi.h>

namespace Qv {

/// A call of the operating system failed.
class QV_BASE_API ExSysError : public ExBase {
public:
    using ExBase::ExBase;
};

/// The calling thread's last error of the operating system, as text. On this platform that is
/// errno, read by the constructor.
///
/// `context` is the failed operation as a qualified function name, `detail` the object that it
/// failed on, usually a path. Either may be null.
class QV_BASE_API ExSysErrorWindows : public virtual ExSysError {
public:
    ExSysErrorWindows( const char* file, int line );
    ExSysErrorWindows( const char* file, int line, const char* context );
    ExSysErrorWindows( const char* file, int line, const char* context, const char* detail );

    ExBase* clone() const override;
    [[noreturn]] void raise() const override;

private:
    ExSysErrorWindows( const char* file, int line, int error, const char* context,
                       const char* detail );
};

/// The same from errno, on every platform.
class QV_BASE_API ExSysErrorANSI : public virtual ExSysError {
public:
    ExSysErrorANSI( const char* file, int line );
    ExSysErrorANSI( const char* file, int line, const char* context );
    ExSysErrorANSI( const char* file, int line, const char* context, const char* detail );

    ExBase* clone() const override;
    [[noreturn]] void raise() const override;

private:
    ExSysErrorANSI( const char* file, int line, int error, const char* context,
                    const char* detail );
};

/// The same with a reason that the caller gives.
class QV_BASE_API ExSysErrorGeneric : public virtual ExSysError {
public:
    ExSysErrorGeneric( const char* file, int line, const char* reason, const char* context,
                       const char* detail );

    ExBase* clone() const override;
    [[noreturn]] void raise() const override;
};

} // namespace Qv
