# zlib, which compressed VTU files need, is the one thing beyond the standard library that the
# library can stand on.
set(TESSMAKER_ZLIB AUTO CACHE STRING
  "Read compressed VTU files by zlib: AUTO (where it is found), ON (it must be) or OFF")
set_property(CACHE TESSMAKER_ZLIB PROPERTY STRINGS AUTO ON OFF)

set(TESSMAKER_HAS_ZLIB OFF)
if(TESSMAKER_ZLIB)
  # A project that has this one as a folder links the static library with zlib itself.
  if(TESSMAKER_ZLIB STREQUAL "AUTO")
    find_package(ZLIB GLOBAL)
  else()
    find_package(ZLIB REQUIRED GLOBAL)
  endif()
  set(TESSMAKER_HAS_ZLIB ${ZLIB_FOUND})
endif()
