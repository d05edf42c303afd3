// internal/zulcommands.h - the console commands of the library's own
// families, which their blocks ask for through weak references.
//
// The bss1, ras1 and res1 commands stand on the console (CRF1) and the
// scanner (LEX1), which stand on the basic services, the trace and the
// resources in turn.  So the units that implement the commands keep their
// family's folder and unit names, but link as a target of their own,
// zul_cmd, above the console.  A family's block is built below it and
// cannot name it; its constructor asks for the command through one of the
// references here, each declared weak:
//
//   - in libzul.so, and in any program linked with zul_cmd, the reference
//     is the registration routine, and the block's constructor hands it to
//     BSS1_InitializeEpilog, which runs it once the last construction of
//     the process has ended (registering builds the console's blocks);
//   - in a program linked with the lower families alone (a test of the
//     trace, say), the reference is null; BSS1_InitializeEpilog ignores a
//     null routine, and the family works without its command.
//
// tools/layers checks that every weak reference of the library is defined
// by some family, so that none is null in libzul.so.
#ifndef ZUL_SRC_INTERNAL_ZULCOMMANDS_H
#define ZUL_SRC_INTERNAL_ZULCOMMANDS_H

// Each registers a command with its subcommands; the argument is the
// family's block, which the command's handlers get back as their command
// data.  A registration that fails leaves the family without its command.
__attribute__((weak)) void ZULSS_RegisterCommand(void *pcb);   // bss1 (zulsscm)
__attribute__((weak)) void ZULRA_RegisterCommand(void *block); // ras1 (zulracm)
__attribute__((weak)) void ZULRE_RegisterCommand(void *rvt);   // res1 (zulrecm)

#endif
