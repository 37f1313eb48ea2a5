// Libraries that keep memory for the life of the process and never free it, which
// LeakSanitizer would report at exit: fontconfig its configuration and font patterns (every
// suite that draws text), x265 a table of the HEIF encoder the tests write HEIC files with.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n"
           "leak:libx265.so\n";
}
