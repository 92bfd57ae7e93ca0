# OpenBLAS in its serial build carries CBLAS and LAPACK; the program is single-threaded.
# Sets OPENBLAS_LIBRARY and OPENBLAS_INCLUDE_DIR, preferring Debian's serial variant.
#
# The archive is linked when it and the Fortran runtime's archives are there: the shared
# library's symbol relocations cost every run about 2 ms before main (measured on a 4-port
# job, 6.2 ms against 4.0 ms a run), which is a tenth of a small job, and the parent tool
# starts one run per job. The same code runs either way, so the results do not change.
option(VORA_STATIC_OPENBLAS "Link OpenBLAS and the Fortran runtime statically when their archives exist" ON)

set(_openblas_dirs /usr/lib/x86_64-linux-gnu/openblas-serial /usr/lib/aarch64-linux-gnu/openblas-serial)
if(VORA_STATIC_OPENBLAS)
  find_library(OPENBLAS_STATIC_LIBRARY NAMES libopenblas.a PATHS ${_openblas_dirs} NO_DEFAULT_PATH)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libgfortran.a
    OUTPUT_VARIABLE _gfortran_archive OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libquadmath.a
    OUTPUT_VARIABLE _quadmath_archive OUTPUT_STRIP_TRAILING_WHITESPACE)
  # The compiler prints the bare name back when it does not find the file.
  if(OPENBLAS_STATIC_LIBRARY AND IS_ABSOLUTE "${_gfortran_archive}" AND EXISTS "${_gfortran_archive}")
    set(OPENBLAS_LIBRARY ${OPENBLAS_STATIC_LIBRARY} ${_gfortran_archive})
    if(IS_ABSOLUTE "${_quadmath_archive}" AND EXISTS "${_quadmath_archive}")
      list(APPEND OPENBLAS_LIBRARY ${_quadmath_archive})
    endif()
    list(APPEND OPENBLAS_LIBRARY m)
  endif()
endif()

if(NOT OPENBLAS_LIBRARY)
  find_library(OPENBLAS_LIBRARY NAMES openblas PATHS ${_openblas_dirs} NO_DEFAULT_PATH)
endif()
if(NOT OPENBLAS_LIBRARY)
  find_library(OPENBLAS_LIBRARY NAMES openblas REQUIRED)
endif()
find_path(OPENBLAS_INCLUDE_DIR cblas.h
  PATHS /usr/include/x86_64-linux-gnu/openblas-serial /usr/include/aarch64-linux-gnu/openblas-serial
  NO_DEFAULT_PATH)
if(NOT OPENBLAS_INCLUDE_DIR)
  find_path(OPENBLAS_INCLUDE_DIR cblas.h REQUIRED)
endif()
message(STATUS "OpenBLAS: ${OPENBLAS_LIBRARY}")
