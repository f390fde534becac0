#pragma once

/// What a first program needs of libQVresmgt, and of the library below it.

#include <base/base.h>
#include <resmgt/content/ctServer.h>
#include <resmgt/literals/liString.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/memoryBuffers/mbArenaManager.h>
#include <resmgt/memoryBuffers/mbBuffer.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/mbUnloadRandom.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/resmgtPackages.h>
#include <resmgt/threadExtensions/mtGroup.h>
#include <resmgt/threadExtensions/mtTask.h>
