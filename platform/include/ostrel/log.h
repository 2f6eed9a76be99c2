#pragma once

// The access point's log files. A record is "local time with milliseconds and zone, daemon name,
// [process id]", then the text as given; a record ends with its line end and goes out in one
// write(). Nothing here blocks on or fails for a full disk or a file that can't be written: the
// record is lost, and counted.
//
// Threads: one record at a time; the callers bring their own lock. ostrel_log_emergency() may be
// called from a signal handler at any moment.

#include <cstdarg>

// The name in every record; copied, at most 63 characters.
void ostrel_log_set_daemonname(const char* name);

// The file that records are appended to, made with mode 0600 where it is missing. A file that can't
// be opened is reported on standard error once and tried again later.
void ostrel_log_set_filename(const char* path);

// The size in KiB that the file may reach: one that would pass it is renamed to the same name with
// ".1" and begun anew. 0 means no limit.
void ostrel_log_set_limit(int limitKiB);

// Begins a record with the time, the daemon and the text.
void ostrel_log_msg_timed(const char* format, ...) __attribute__((format(printf, 1, 2)));
void vostrel_log_msg_timed(const char* format, va_list arguments)
    __attribute__((format(printf, 1, 0)));

// Appends to the record that was begun. The record is written when it ends with a line end, or when
// the next one begins. One longer than 256 KiB is cut there, and ends with "...".
void vostrel_log_msg(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

// Writes one whole record, `text` (line end included, at most 1 KiB) behind the time and the
// daemon, with async-signal-safe calls alone and without any lock. errno survives.
void ostrel_log_emergency(const char* text);

// Records that could not be written since the start. The first record that can be written again is
// preceded by one that tells how many were lost.
unsigned long ostrel_log_lost();
