#include "check/findings.h"

#include "platform/files.h"
#include "platform/service.h"
#include "platform/weight.h"

#include <cstdarg>
#include <cstdio>

namespace
{

constexpr const char *SEVERITY_NAMES[] = {"note", "warning", "error"};
constexpr Weight WEIGHTS[] = {WEIGHT_NOTE, WEIGHT_WARNING, WEIGHT_FAILURE};
constexpr int TEXT_SIZE = 1024;

int worst;

void show(const char *text)
{
    for (; *text != '\0'; text++) {
        auto byte = static_cast<unsigned char>(*text);
        putchar(byte < ' ' || byte == 0x7F ? '?' : byte);
    }
    putchar('\n');
}

void show_path(const char *path)
{
    for (; *path != '\0'; path++) {
        putchar(is_separator(*path) ? '/' : *path);
    }
}

} // namespace

void report(Severity severity, const char *file, int line, const char *format, ...)
{
    char text[TEXT_SIZE];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);

    if (severity > worst) {
        worst = severity;
    }
    if (journal_takes_output()) {
        printf("<%d>", WEIGHTS[severity]);
    }
    if (file != nullptr) {
        show_path(file);
        line > 0 ? printf(":%d: ", line) : printf(": ");
    }
    printf("%s: ", SEVERITY_NAMES[severity]);
    show(text);
}

int exit_status()
{
    return worst;
}
