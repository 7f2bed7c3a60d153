// Runtime options of the instrumented test programs, compiled in so that they behave the
// same under ctest, scripts/check.sh or a debugger: stop at the first report, with stacks.
// Each runtime reads only its own hook; the others are never called.

extern "C" const char* __asan_default_options()
{
    return "detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1";
}

extern "C" const char* __ubsan_default_options()
{
    return "print_stacktrace=1:halt_on_error=1";
}

extern "C" const char* __tsan_default_options()
{
    return "halt_on_error=1:second_deadlock_stack=1:suppressions=" FUNCTIONS_TSAN_SUPPRESSIONS;
}
