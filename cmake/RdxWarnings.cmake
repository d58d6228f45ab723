# One warning set for every target of the project.
add_library(rdx_warnings INTERFACE)
target_compile_options(rdx_warnings INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor
  -Wold-style-cast -Wcast-align -Woverloaded-virtual -Wformat=2)
if(RDX_WERROR)
  target_compile_options(rdx_warnings INTERFACE -Werror)
endif()
