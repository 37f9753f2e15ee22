# The libraries that everything stands on. All are packages of the distribution (Homebrew's on macOS); nothing is
# downloaded. What only a tool, a test or a benchmark needs is looked for beside it.

find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED)
find_package(SQLite3 REQUIRED)

if(NOT APPLE)
  find_package(PkgConfig REQUIRED)
  find_package(ICU 70 REQUIRED COMPONENTS uc i18n)
  find_package(EXPAT 2.4 REQUIRED)
  pkg_check_modules(UUID REQUIRED IMPORTED_TARGET uuid)
  pkg_check_modules(RE2 REQUIRED IMPORTED_TARGET re2)
endif()

if(KX_BUILD_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
  # Users and groups of a test's own (Tests/NameService.h). The wrapper is found by nobody's name, so the linker must be
  # told to keep it, and before the C library.
  add_library(KXNameService INTERFACE)
  target_link_options(KXNameService INTERFACE LINKER:--no-as-needed)
  target_link_libraries(KXNameService INTERFACE nss_wrapper)
endif()
if((KX_BUILD_TESTS OR KX_BUILD_FUZZERS OR KX_BUILD_BENCHMARKS) AND NOT APPLE)
  pkg_check_modules(KX_URI_PEER REQUIRED IMPORTED_TARGET liburiparser)
endif()
if(KX_BUILD_BENCHMARKS)
  find_package(benchmark REQUIRED)
  pkg_check_modules(KX_STRING_PEERS REQUIRED IMPORTED_TARGET glib-2.0)
  pkg_check_modules(KX_URL_PEERS REQUIRED IMPORTED_TARGET liburiparser glib-2.0 libcurl)
  pkg_check_modules(KX_CODECS_PEERS REQUIRED IMPORTED_TARGET libcrypto glib-2.0 nettle)
  pkg_check_modules(KX_EVENT_LOOP_PEERS REQUIRED IMPORTED_TARGET libuv libevent libevent_pthreads glib-2.0)
  find_package(leveldb REQUIRED)
  pkg_check_modules(KX_STREAM_PEERS REQUIRED IMPORTED_TARGET rocksdb lmdb)
  pkg_check_modules(KX_PROPERTY_LIST_PEERS REQUIRED IMPORTED_TARGET libplist-2.0 pugixml)
endif()
