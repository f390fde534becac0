#pragma once

#include <resmgt/locks/lkThreadOpaqueData.h>

#include <pthread.h>

namespace Qv {

/// A slot of per-thread data that is a key of the system. A slot that was never set and one that
/// holds null are alike.
class MtThreadOpaqueDataPosix final : public LkThreadOpaqueData {
public:
    MtThreadOpaqueDataPosix( const char* name, Creator creator, Deleter deleter );
    /// Frees the calling thread's value. No other thread has one: the registry's reference would
    /// have kept this object alive. A failure is reported.
    ~MtThreadOpaqueDataPosix() override;

private:
    bool isNull() const override;
    void* getValue() const override;
    void setValue( void* data ) const override;
    void registerData() const override;
    void unregisterData( LkThreadDataTypes::DeleteAction action ) const override;

    pthread_key_t _tlsIndex{};
};

} // namespace Qv
