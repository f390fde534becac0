#include <resmgt/threadExtensions/mtAlarmManager.h>

#include <resmgt/threadExtensions/src/mtAlarmManagerImp.h>

namespace Qv {

MtAlarmManager::MtAlarmManager() = default;
MtAlarmManager::~MtAlarmManager() = default;

MtAlarmManager& MtAlarmManager::getInstance() {
    return MtAlarmManagerImp::getInstance();
}

} // namespace Qv
