# Flags that every target of ours is compiled with: link to project_options, privately.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<BOOL:${DEVELOPER_MODE}>:-Werror>
  -fno-omit-frame-pointer)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(project_options INTERFACE -Wthread-safety)
endif()
# Whatever the platform's default is.
target_link_options(project_options INTERFACE -Wl,-z,relro -Wl,-z,noexecstack)
# Binds all functions when it is loaded, so that the table of them is read-only as well.
add_library(bound_at_once INTERFACE)
target_link_options(bound_at_once INTERFACE -Wl,-z,now)
# Set on a directory: what is compiled there tests, and is not what is tested.
define_property(TARGET PROPERTY TEST_CODE INHERITED)
if(NOT SANITIZE)
  # What runs over the end of a buffer ends the process. Sanitizers see that by themselves.
  target_compile_options(project_options INTERFACE
    -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_BUILD_TYPE MATCHES "Rel")  # it needs an optimised build, which test code is not
    target_compile_definitions(project_options INTERFACE
      $<$<NOT:$<BOOL:$<TARGET_PROPERTY:TEST_CODE>>>:_FORTIFY_SOURCE=2>)
  endif()
endif()
if(SANITIZE)
  target_compile_options(project_options INTERFACE -fsanitize=${SANITIZE} -fno-sanitize-recover=all)
  if(SANITIZE MATCHES "undefined")
    # Checks of test code's own arithmetic would be over a third of the time it takes to compile.
    target_compile_options(project_options INTERFACE
      $<$<BOOL:$<TARGET_PROPERTY:TEST_CODE>>:-fno-sanitize=undefined>)
  endif()
  target_link_options(project_options INTERFACE -fsanitize=${SANITIZE})
  # The sanitizers' runtimes cannot follow thread-local storage that libraries get lazily: now and
  # then one took a garbage address or size for it, and crashed in its search for leaks or failed to
  # allocate terabytes.
  target_compile_options(project_options INTERFACE -ftls-model=initial-exec)
endif()
if(COVERAGE)
  # Tests count as well: of an inline function the linker keeps one copy, which may be a test's.
  # Threads share the counters, hence atomic.
  target_compile_options(project_options INTERFACE
    --coverage -fprofile-update=atomic -fprofile-abs-path)
  # The counting runtime, which comes last, calls abort as well: hence always linked.
  target_link_options(project_options INTERFACE
    --coverage -Wl,--wrap=_exit -Wl,--wrap=abort -Wl,--undefined=__wrap_abort)
  add_library(coverage_exits STATIC tools/coverage/exits.c)
  target_link_libraries(project_options INTERFACE coverage_exits)
endif()
