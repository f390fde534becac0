#pragma once

/// What a first program needs of libQVmediaTiles, and of the libraries below it.

#include <mediaTiles/mediaTilesPackage.h>
#include <mediaTiles/tiBufferFactory.h>
#include <mediaTiles/tiProtocol.h>
#include <mediaTiles/tiStore.h>
#include <resmgt/resmgt.h>
