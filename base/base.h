#pragma once

/// What a first program needs of libQVbase.

#include <base/failure/assertions.h>
#include <base/failure/exBase.h>
#include <base/init/inInit.h>
#include <base/init/inInitGuard.h>
#include <base/init/inVariable.h>
#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcShdPtr.h>
#include <base/text/printable.h>
