// Sanitizer settings of every test executable, whoever runs it (CTest or a person).
extern "C" {
const char* __asan_default_options() { return "detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1"; }
const char* __ubsan_default_options() { return "print_stacktrace=1:halt_on_error=1"; }
}
