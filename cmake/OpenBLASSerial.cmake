# OpenBLAS in its serial build carries CBLAS and LAPACK; the program is single-threaded.
# Sets OPENBLAS_LIBRARY and OPENBLAS_INCLUDE_DIR, preferring Debian's serial variant.
find_library(OPENBLAS_LIBRARY NAMES openblas
  PATHS /usr/lib/x86_64-linux-gnu/openblas-serial /usr/lib/aarch64-linux-gnu/openblas-serial
  NO_DEFAULT_PATH)
if(NOT OPENBLAS_LIBRARY)
  find_library(OPENBLAS_LIBRARY NAMES openblas REQUIRED)
endif()
find_path(OPENBLAS_INCLUDE_DIR cblas.h
  PATHS /usr/include/x86_64-linux-gnu/openblas-serial /usr/include/aarch64-linux-gnu/openblas-serial
  NO_DEFAULT_PATH)
if(NOT OPENBLAS_INCLUDE_DIR)
  find_path(OPENBLAS_INCLUDE_DIR cblas.h REQUIRED)
endif()
