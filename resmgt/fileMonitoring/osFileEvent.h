#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// What happened to a watched file; a handler distinguishes the kinds by their type:
///
///     if( dynamic_cast<const OsFileEvent::Deleted*>( &event ) != nullptr ) {
///         close( event.getPath() );
///     }
///
/// Threads: any; it never changes.
class QV_RESMGT_API OsFileEvent {
public:
    /// The file is there, and wasn't before.
    class Created;
    /// The file was there, and isn't any more.
    class Deleted;
    /// The file isn't the one that was there before, or not as it was.
    class Changed;

    OsFileEvent( const OsFileEvent& ) = delete;
    OsFileEvent& operator=( const OsFileEvent& ) = delete;
    virtual ~OsFileEvent();

    /// As it was given to `addWatch`.
    OsFilePath getPath() const { return _path; }

protected:
    explicit OsFileEvent( const OsFilePath& path );

private:
    const OsFilePath _path;
};

/// A watched file is there that wasn't before.
class QV_RESMGT_API OsFileEvent::Created final : public OsFileEvent {
public:
    explicit Created( const OsFilePath& path );
    ~Created() override;
};

/// A watched file has gone.
class QV_RESMGT_API OsFileEvent::Deleted final : public OsFileEvent {
public:
    explicit Deleted( const OsFilePath& path );
    ~Deleted() override;
};

/// A watched file isn't as it was.
class QV_RESMGT_API OsFileEvent::Changed final : public OsFileEvent {
public:
    explicit Changed( const OsFilePath& path );
    ~Changed() override;
};

} // namespace Qv
