# Compiler and linker flags of everything that is built here: warnings are errors, and the binary is
# hardened, since it reads bytes from the air as root.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(vorlent_flags INTERFACE)
target_compile_options(vorlent_flags INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Werror
  -fno-semantic-interposition -fstack-protector-strong -ffunction-sections -fdata-sections)
target_link_options(vorlent_flags INTERFACE
  -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--gc-sections -Wl,--as-needed)

if(VORLENT_SANITIZE)
  target_compile_options(vorlent_flags INTERFACE
    -fsanitize=${VORLENT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vorlent_flags INTERFACE -fsanitize=${VORLENT_SANITIZE})
elseif(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  # _FORTIFY_SOURCE needs the optimiser and gets in the way of the sanitizers' own checks.
  target_compile_definitions(vorlent_flags INTERFACE _FORTIFY_SOURCE=2)
endif()
