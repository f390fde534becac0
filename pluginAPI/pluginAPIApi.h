#pragma once

/// Marks what libQVpluginAPI exports.
#if defined( _WIN32 )
#    if defined( QV_BUILDING_PLUGINAPI )
#        define QV_PLUGINAPI_API __declspec( dllexport )
#    else
#        define QV_PLUGINAPI_API __declspec( dllimport )
#    endif
#else
#    define QV_PLUGINAPI_API __attribute__( ( visibility( "default" ) ) )
#endif
