# Refuses a configuration for 32-bit Windows, where the launcher's shared numbers and
# the MPIs' programs would not fit.
#
# Included by the build; as a script (cmake -P) it is tried by its test.
if(WIN32 AND NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
  message(FATAL_ERROR "The launcher is a program for 64-bit Windows. Configure it in the x64 "
    "prompt of Visual Studio (vcvars64), or with -A x64.")
endif()
