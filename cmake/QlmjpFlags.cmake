# Flags of every target of this project, as one interface library, so that no flag is spelled twice.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

add_library(qlmjp_warnings INTERFACE)
target_compile_options(qlmjp_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wundef -Wcast-qual -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast>)

# The processor level of the kernels. Contraction stays off: a fused operation is written as one.
add_library(qlmjp_level INTERFACE)
target_compile_options(qlmjp_level INTERFACE -march=x86-64-v3 -ffp-contract=off)

# -DQLMJP_SANITIZE=address,undefined and the like; a finding ends the program.
set(QLMJP_SANITIZE "" CACHE STRING "Sanitizers to build everything with")
if(QLMJP_SANITIZE)
  add_compile_options(-fsanitize=${QLMJP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  string(REPLACE ",fuzzer-no-link" "" qlmjp_sanitize_link "${QLMJP_SANITIZE}")
  add_link_options(-fsanitize=${qlmjp_sanitize_link})
endif()
