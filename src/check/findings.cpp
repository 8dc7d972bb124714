#include "check/findings.h"

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
        std::putchar(byte < ' ' || byte == 0x7F ? '?' : byte);
    }
    std::putchar('\n');
}

} // namespace

void report(Severity severity, const char *file, int line, const char *format, ...)
{
    char text[TEXT_SIZE];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);

    if (severity > worst)
        worst = severity;
    if (journal_takes_output())
        printf("<%d>", WEIGHTS[severity]);
    if (file != nullptr && line > 0)
        printf("%s:%d: ", file, line);
    else if (file != nullptr)
        printf("%s: ", file);
    printf("%s: ", SEVERITY_NAMES[severity]);
    show(text);
}

int exit_status()
{
    return worst;
}
