# Instrumented builds. Only what is compiled here is instrumented: OpenCV, Qt and TBB come
# from the system as they are, so their internal synchronisation is invisible to the
# thread sanitizer (see tests/tsan.supp).

if(FUNCTIONS_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "FUNCTIONS_BUILD_FUZZ needs clang (configure with CMAKE_CXX_COMPILER=clang++)")
  endif()
  if(FUNCTIONS_SANITIZER STREQUAL "")
    set(FUNCTIONS_SANITIZER address CACHE STRING "" FORCE)
  elseif(NOT FUNCTIONS_SANITIZER STREQUAL "address")
    message(FATAL_ERROR "the fuzz targets run with the address sanitizer only")
  endif()
endif()

if(FUNCTIONS_SANITIZER STREQUAL "address")
  # float-cast-overflow is part of clang's "undefined" but not of GCC's; a NaN or huge
  # coordinate converted to int is exactly the fault bad input provokes, so ask for it.
  set(sanitizer_flags -fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
elseif(FUNCTIONS_SANITIZER STREQUAL "thread")
  set(sanitizer_flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT FUNCTIONS_SANITIZER STREQUAL "")
  message(FATAL_ERROR "FUNCTIONS_SANITIZER must be empty, 'address' or 'thread', not '${FUNCTIONS_SANITIZER}'")
endif()

if(sanitizer_flags)
  # Optimised but with usable stacks.
  add_compile_options(${sanitizer_flags} -g)
  add_link_options(${sanitizer_flags})
endif()

# Gives a program that the tests run (test programs, the command-line tool) the runtime
# options of instrumented builds and, under the thread sanitizer, an OpenCV thread pool the
# sanitizer can see (tests/SanitizerSupport.cpp).
function(functions_instrumented_program target)
  if(FUNCTIONS_SANITIZER)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests/SanitizerSupport.cpp)
    target_compile_definitions(${target} PRIVATE
      FUNCTIONS_TSAN_SUPPRESSIONS="${PROJECT_SOURCE_DIR}/tests/tsan.supp")
  endif()
endfunction()
