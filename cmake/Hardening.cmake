# What the field expects of a program that others' builds depend on.
#
# Host: stack protector, fortified library calls, position independence, read-only relocations bound at start.
# Windows: stack protector; address space randomisation with high entropy, no execution of data.
# Both carry the compiler's runtimes inside, so that a product needs only what the system itself ships.
add_library(hardening INTERFACE)
target_compile_options(hardening INTERFACE -fstack-protector-strong)
target_link_options(hardening INTERFACE -static-libgcc -static-libstdc++)
if(WIN32)
  target_link_options(hardening INTERFACE
    -static -Wl,--nxcompat,--dynamicbase,--high-entropy-va)
else()
  # Of a program, not of a library: there each variable of a thread would cost a call.
  target_compile_options(hardening INTERFACE -fPIE -ffunction-sections -fdata-sections)
  target_link_options(hardening INTERFACE -pie -Wl,--gc-sections,-z,relro,-z,now,-z,noexecstack)
  if(NOT TORVEL_SANITIZE)
    target_compile_options(hardening INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
  endif()
endif()
if(TORVEL_SANITIZE)
  set_target_properties(hardening PROPERTIES INTERFACE_LINK_OPTIONS "")
endif()
