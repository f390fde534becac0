#pragma once

#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/src/lgOutput.h>

#include <memory>

namespace Qv {

/// One `LgLog::init`: reads the environment and prepares all aside. What it has changed by then is
/// as before again when it ends without `commit`.
class LgLogStart {
public:
    LgLogStart();
    LgLogStart( const LgLogStart& ) = delete;
    LgLogStart& operator=( const LgLogStart& ) = delete;
    ~LgLogStart();

    /// All that can fail. Raises what `LgLog::init` does.
    void prepare();
    /// REQUIRES: it is prepared.
    std::unique_ptr<LgOutput> commit() noexcept;
    /// What `LgLog::destroy` takes back.
    static void uninstall() noexcept;

private:
    void takeDefaultLevel();
    void readOptions();
    LgOutput::Settings makeSettings();

    const LgTypes::Level _formerThreshold;
    const std::uint64_t _formerStart;
    std::array<bool, LgLog::NB_OPTIONS> _formerOptions{};
    bool _areGroupsMade = false;
    bool _isCommitted = false;
    std::unique_ptr<LgOutput> _output;
};

} // namespace Qv
