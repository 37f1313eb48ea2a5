// fontconfig keeps its configuration and font patterns for the life of the process and never
// frees them; LeakSanitizer would report them at exit in every suite that draws text.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
