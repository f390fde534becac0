#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstddef>

namespace Qv {

/// A mapping and its file; the platform's half of OsFileMapping. Unmaps and closes at its end what
/// it got to.
class OsFileMappingImp {
public:
    OsFileMappingImp() = default;
    OsFileMappingImp( const OsFileMappingImp& ) = delete;
    OsFileMappingImp& operator=( const OsFileMappingImp& ) = delete;
    ~OsFileMappingImp();

    /// Opens the file, or makes it; false after a failure, here and below.
    bool open( const OsFilePath& path, bool readOnly );
    /// As the constructor of OsFileMapping does. REQUIRES: `open` succeeded, with the same
    /// `readOnly`.
    bool map( unsigned long long offset, unsigned long long size, bool readOnly );

    /// Null when it is mapped for reading alone.
    void* getWritableAddress() const noexcept { return _writableAddress; }
    const void* getAddress() const noexcept { return _address; }

private:
    void* _writableAddress = nullptr;
    void* _address = nullptr;
    OsFileTypes::Handle _file = OsFileTypes::INVALID_HANDLE;
    /// In bytes.
    std::size_t _size = 0;
};

} // namespace Qv
