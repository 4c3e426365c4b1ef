// Included before each source file of a program whose main is called again and again: its variables get
// sections of their own, so that every call can find them as the first one did.
#pragma clang section bss = "program_bss" data = "program_data"
