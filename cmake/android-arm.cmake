# The NDK's own toolchain file, found through ANDROID_NDK_HOME; ABI and API level come from the preset.
if(NOT DEFINED ENV{ANDROID_NDK_HOME})
  message(FATAL_ERROR "ANDROID_NDK_HOME is not set; it must name the directory of an Android NDK (r21 or later).")
endif()
set(ndk_toolchain "$ENV{ANDROID_NDK_HOME}/build/cmake/android.toolchain.cmake")
if(NOT EXISTS "${ndk_toolchain}")
  message(FATAL_ERROR "ANDROID_NDK_HOME is '$ENV{ANDROID_NDK_HOME}', but there is no '${ndk_toolchain}'.")
endif()
include("${ndk_toolchain}")
