/**
 * @file
 * The update call of the minimal service, refused with the same answers and the same lines of log
 * as the service's.
 */

#include "component.h"
#include "platform/dlog.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum
{
    error_level = 1,
    trace_level = 4,
    log_module = 352,
    record_size = 1024,
    file_limit = 9216,
    trimmed_bytes = 1024,
};

static const char log_file[] = "/var/log/tavrinupdate.log";
static const char function[] = "flop_update_handler";

/** Drops the beginning of the file, which has `size` bytes. */
static void trim(int file, size_t size)
{
    static char rest[file_limit + record_size];
    const ssize_t kept = pread(file, rest, size - trimmed_bytes, trimmed_bytes);
    if (kept >= 0 && ftruncate(file, 0) == 0)
    {
        (void)!write(file, rest, (size_t)kept);
    }
}

/** Appends a record, which begins with the file's size before it. */
static void append(const char* message)
{
    const int file = open(log_file, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    struct stat before;
    if (file >= 0 && fstat(file, &before) == 0)
    {
        char record[record_size + 32];
        const int length =
            snprintf(record, sizeof(record), "%lld : %s", (long long)before.st_size, message);
        (void)!write(file, record, (size_t)length);
        const size_t after = (size_t)before.st_size + (size_t)length;
        if (after >= file_limit)
        {
            trim(file, after);
        }
    }
    if (file >= 0)
    {
        close(file);
    }
}

static void log_record(const char* format, ...) __attribute__((format(printf, 1, 2)));

static void log_record(const char* format, ...)
{
    char message[record_size];
    va_list arguments;
    va_start(arguments, format);
    va_list for_the_file;
    va_copy(for_the_file, arguments);
    dlog_vprintf(error_level, log_module, format, arguments);
    vsnprintf(message, sizeof(message), format, for_the_file);
    va_end(for_the_file);
    va_end(arguments);
    append(message);
}

static int refuse(sd_bus_message* call, const char* fqdd)
{
    log_record("[%s]: Incorrect FQDD=%s\n", function, fqdd);
    return sd_bus_reply_method_return(call, "i", 1);
}

/** Length of what stands before the trailing digits. */
static size_t prefix_length(const char* fqdd)
{
    size_t length = strlen(fqdd);
    while (length > 0 && fqdd[length - 1] >= '0' && fqdd[length - 1] <= '9')
    {
        --length;
    }
    return length;
}

static bool is_known(const char* fqdd, size_t length)
{
    static const char* const prefixes[] = {"CPLD.IOBay.", "PBBCPLD.Embedded.", "PDBCPLD.Embedded."};
    for (size_t i = 0; i < sizeof(prefixes) / sizeof(prefixes[0]); ++i)
    {
        if (strlen(prefixes[i]) == length && memcmp(prefixes[i], fqdd, length) == 0)
        {
            return true;
        }
    }
    return false;
}

int refuse_update(sd_bus_message* call, void* component, sd_bus_error* error)
{
    (void)component;
    const char* fqdd = NULL;
    uint32_t transaction = 0;
    const int result = sd_bus_message_read(call, "su", &fqdd, &transaction);
    if (result < 0)
    {
        return result;
    }
    dlog_printf(trace_level, log_module, "Entering %s\n", function);
    const size_t prefix = prefix_length(fqdd);
    if (!is_known(fqdd, prefix))
    {
        return refuse(call, fqdd);
    }
    errno = 0;
    const long number = strtol(fqdd + prefix, NULL, 10);
    if (errno == ERANGE || number > INT_MAX)
    {
        return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, "stoi");
    }
    // A real one would go on here.
    return refuse(call, fqdd);
}
