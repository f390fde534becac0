#pragma once

/// All of libQVpluginAPI, and what a first program needs of the library below it.

#include <base/base.h>
#include <pluginAPI/piAppThread.h>
#include <pluginAPI/piHelp.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <pluginAPI/pxRequestMgr.h>
