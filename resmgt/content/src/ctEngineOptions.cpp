#include <resmgt/content/ctEngineOptions.h>

#include <resmgt/content/src/ctVariables.h>

namespace Qv {

namespace {

const CtEngineOptions defaults;

EnvIntVar asyncThreads( __FILE__, "QV_CONTENT_NB_ASYNC_THREADS", defaults.nbAsyncThreads );
EnvIntVar asyncPrioThreads( __FILE__, "QV_CONTENT_NB_ASYNC_PRIO_THREADS",
                            defaults.nbAsyncPrioThreads );
EnvIntVar syncPrioRequests( __FILE__, "QV_CONTENT_NB_SYNC_PRIO_REQUESTS",
                            defaults.nbSyncPrioRequests );
EnvIntVar maxNbOpenFiles( __FILE__, "QV_MAX_NB_OPEN_FILES", 1024 );

} // namespace

CtEngineOptions CtEngineOptions::getConfigured() {
    return readVariables( { &asyncThreads, &asyncPrioThreads, &syncPrioRequests }, [] {
        return CtEngineOptions{ asyncThreads.getValue(), asyncPrioThreads.getValue(),
                                syncPrioRequests.getValue() };
    } );
}

int CtEngineOptions::getMaxNbOpenFiles() {
    return readVariables( { &maxNbOpenFiles }, [] { return maxNbOpenFiles.getValue(); } );
}

} // namespace Qv
