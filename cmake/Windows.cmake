# The Windows build (cross-compiled with cmake/mingw-w64.cmake, run under Wine here).
# TQ4_WINDOWS_ENGINE names the prefix that scripts/windows-engine.sh built the node-map engine
# stack into (Aravis, glib, libxml2, libffi, pcre2; zlib from the mingw-w64 packages).
set(TQ4_WINDOWS_ENGINE "" CACHE PATH "Prefix of the engine stack built by scripts/windows-engine.sh")
if(NOT TQ4_WINDOWS_ENGINE)
  execute_process(COMMAND bash ${PROJECT_SOURCE_DIR}/scripts/windows-engine.sh
    OUTPUT_VARIABLE _engine OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE _engineResult)
  if(NOT _engineResult EQUAL 0)
    message(FATAL_ERROR "scripts/windows-engine.sh failed")
  endif()
  string(REGEX REPLACE ".*\n" "" _engine "${_engine}")
  set(TQ4_WINDOWS_ENGINE "${_engine}" CACHE PATH "Prefix of the engine stack" FORCE)
endif()
set(ENV{PKG_CONFIG_LIBDIR} "${TQ4_WINDOWS_ENGINE}/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
list(APPEND CMAKE_FIND_ROOT_PATH "${TQ4_WINDOWS_ENGINE}")
# The engine's DLLs and the compiler's runtime, where programs run under Wine find them.
set(TQ4_ENGINE_BIN "${TQ4_WINDOWS_ENGINE}/bin")
set(TQ4_WINEPATH "${TQ4_ENGINE_BIN}")

# The C99 printf family (%zu, %lld) in place of the system C runtime's.
add_compile_definitions(__USE_MINGW_ANSI_STDIO=1)

# Header-only libraries of the host, copied alone into a folder of their own: the host's
# include folder itself must not reach the cross compiler.
set(_headers ${CMAKE_BINARY_DIR}/host-headers)
file(MAKE_DIRECTORY ${_headers})
file(COPY /usr/include/SimpleIni.h /usr/include/CLI DESTINATION ${_headers})
include_directories(SYSTEM ${_headers})
add_library(CLI11::CLI11 INTERFACE IMPORTED)

# GoogleTest from Debian's sources; benchmarks and fuzzing stay Linux-only.
set(TQ4_BUILD_BENCH OFF CACHE BOOL "" FORCE)
set(TQ4_BUILD_FUZZ OFF CACHE BOOL "" FORCE)
if(TQ4_BUILD_TESTS)
  set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(_t gtest gtest_main gmock gmock_main)
    target_compile_options(${_t} PRIVATE -w)
  endforeach()
  set(GTest_FOUND TRUE)
endif()
# The compiler's runtime (libstdc++, libgcc, winpthreads) linked in: the driver DLL, the
# producer and the programs need no runtime DLL beside them.
set(CMAKE_CXX_STANDARD_LIBRARIES "-static-libgcc -Wl,-Bstatic -lstdc++ -lwinpthread -Wl,-Bdynamic")

# tq4_delay_imports(<imported target>): the target's DLL import libraries replaced by delayed
# import libraries (dlltool --output-delaylib, from each DLL's export table). The loader then
# loads an engine DLL at its first call, not with the program, and a missing one reaches the
# failure hook instead of failing the load of the driver.
function(tq4_delay_imports target)
  get_target_property(_libs ${target} INTERFACE_LINK_LIBRARIES)
  set(_out ${CMAKE_BINARY_DIR}/delayimp)
  file(MAKE_DIRECTORY ${_out})
  set(_result "")
  foreach(_lib IN LISTS _libs)
    if(NOT _lib MATCHES "\\.dll\\.a$")
      list(APPEND _result ${_lib})
      continue()
    endif()
    execute_process(COMMAND ${TQ4_MINGW_HOST}-dlltool -I ${_lib} OUTPUT_VARIABLE _dll
      OUTPUT_STRIP_TRAILING_WHITESPACE)
    string(REGEX REPLACE "\\.dll$" "" _stem "${_dll}")
    set(_delaylib ${_out}/lib${_stem}.delay.a)
    if(NOT EXISTS ${_delaylib})
      execute_process(COMMAND bash -c "${TQ4_MINGW_HOST}-objdump -p '${TQ4_ENGINE_BIN}/${_dll}' | \
sed -n '/\\[Ordinal\\/Name Pointer\\] Table/,/^$/p' | sed -n 's/^[[:space:]]*\\[[[:space:]]*[0-9]*\\] //p'"
        OUTPUT_VARIABLE _names)
      string(REPLACE "\n" "\n  " _names "${_names}")
      file(WRITE ${_out}/${_stem}.def "LIBRARY \"${_dll}\"\nEXPORTS\n  ${_names}\n")
      execute_process(COMMAND ${TQ4_MINGW_HOST}-dlltool --input-def ${_out}/${_stem}.def --dllname ${_dll}
        --output-delaylib ${_delaylib} RESULT_VARIABLE _failed)
      if(_failed)
        message(FATAL_ERROR "no delayed import library for ${_dll}")
      endif()
    endif()
    list(APPEND _result ${_delaylib})
  endforeach()
  set_target_properties(${target} PROPERTIES INTERFACE_LINK_LIBRARIES "${_result}")
endfunction()
