#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

class LiString;
class OsFilePath;

/// The family of the errors of content servers.
class QV_RESMGT_API CtEx : public ExBase {
public:
    class ExUnknownServerType;
    class ExNotEnoughSpace;
    class ExSeekFailed;
    class ExContentDiffers;

    /// What the transfer that failed was doing.
    enum Direction { READING, WRITING };

    using ExBase::ExBase;
};

/// No factory can make a server of this configuration.
class QV_RESMGT_API CtEx::ExUnknownServerType
    : public ExCloneable<CtEx::ExUnknownServerType, CtEx> {
public:
    ExUnknownServerType( const char* file, int line, const LiString& type );
};

/// There is no room for a new block.
class QV_RESMGT_API CtEx::ExNotEnoughSpace : public ExCloneable<CtEx::ExNotEnoughSpace, CtEx> {
public:
    ExNotEnoughSpace( const char* file, int line, const char* detail );
};

/// A position in a file couldn't be reached.
class QV_RESMGT_API CtEx::ExSeekFailed : public ExCloneable<CtEx::ExSeekFailed, CtEx> {
public:
    /// `offset` in bytes.
    ExSeekFailed( const char* file, int line, const OsFilePath& path, unsigned int offset,
                  Direction direction );
};

/// The bytes read aren't those that were written.
class QV_RESMGT_API CtEx::ExContentDiffers : public ExCloneable<CtEx::ExContentDiffers, CtEx> {
public:
    /// Of `size` bytes from `offset` on.
    ExContentDiffers( const char* file, int line, const OsFilePath& path, unsigned int offset,
                      unsigned int size );
};

} // namespace Qv
