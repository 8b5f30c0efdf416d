# Compiler and linker flags of everything that is built here. The binary is hardened, since it reads
# bytes from the air as root.
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Errors only where we ask for it: each new compiler brings new false alarms.
set(vorlent_warnings -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${VORLENT_WERROR}>:-Werror>)

add_library(vorlent_flags INTERFACE)
target_compile_options(vorlent_flags INTERFACE
  ${vorlent_warnings}
  -fno-semantic-interposition -fstack-protector-strong -ffunction-sections -fdata-sections)
target_link_options(vorlent_flags INTERFACE
  -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--gc-sections -Wl,--as-needed)

if(VORLENT_SANITIZE)
  target_compile_options(vorlent_flags INTERFACE
    -fsanitize=${VORLENT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vorlent_flags INTERFACE -fsanitize=${VORLENT_SANITIZE})
else()
  # _FORTIFY_SOURCE needs the optimiser and gets in the way of the sanitizers' own checks. A
  # distribution, or its compiler, may have a level of its own.
  set(CMAKE_TRY_COMPILE_CONFIGURATION ${CMAKE_BUILD_TYPE})
  check_cxx_source_compiles("
    #if !defined __OPTIMIZE__ || defined _FORTIFY_SOURCE
    #error ours is not wanted
    #endif
    int main() {}" VORLENT_WANTS_FORTIFY)
  unset(CMAKE_TRY_COMPILE_CONFIGURATION)
  if(VORLENT_WANTS_FORTIFY)
    target_compile_definitions(vorlent_flags INTERFACE _FORTIFY_SOURCE=2)
  endif()
endif()

# For what is built a second time, to be tested and not to be shipped.
if(VORLENT_ALSO_SANITIZE)
  add_library(vorlent_sanitize INTERFACE)
  target_compile_options(vorlent_sanitize INTERFACE -fsanitize=${VORLENT_ALSO_SANITIZE}
    -fno-sanitize-recover=all -fno-omit-frame-pointer -O0 -g1 -U_FORTIFY_SOURCE)
  target_link_options(vorlent_sanitize INTERFACE -fsanitize=${VORLENT_ALSO_SANITIZE})
endif()
