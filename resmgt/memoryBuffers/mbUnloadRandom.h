#pragma once

#include <resmgt/memoryBuffers/mbUnloadIndex.h>
#include <resmgt/memoryBuffers/mbUnloadStrategy.h>
#include <resmgt/random/rnNumRecUniformRng.h>

#include <vector>

namespace Qv {

/// Picks a random member. Two objects with the same seed and the same calls pick the same victims.
class QV_RESMGT_API MbUnloadRandom : public MbUnloadStrategy {
public:
    explicit MbUnloadRandom( int seed );
    ~MbUnloadRandom() override;

    /// "MbUnloadRandom"
    const char* getName() const override;
    void insertBuffer( MbBufferImp* buffer ) override;
    void removeBuffer( MbBufferImp* buffer ) override;
    MbBufferImp* selectVictim() const override;
    bool isEmpty() const override;
    void dump( std::ostream& stream ) const override;

private:
    std::vector<MbBufferImp*> _buffers;
    MbUnloadIndex<std::size_t> _indexes;
    mutable RnNumRecUniformRng<double> _rng;
};

} // namespace Qv
