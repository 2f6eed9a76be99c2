#pragma once

// The access point's log files. A record is the local time with milliseconds and zone, the daemon's
// name, "[process id]" and the text as given. It ends with a line end and goes out in one write().
// A record that can't be written, as on a full disk, is lost and counted; no function fails or
// waits for that.
//
// Threads: one call at a time, so the callers share a lock. ostrel_log_emergency(),
// ostrel_log_reopen() and ostrel_log_lost() need no lock.

#include <cstdarg>

// Sets the name in every record: a copy of the first 63 characters of `name`.
void ostrel_log_set_daemonname(const char* name);

// Sets the file that records are appended to; `path` is copied. A missing file is made with mode
// 0600. A file that can't be opened is reported on standard error once and tried again later.
void ostrel_log_set_filename(const char* path);

// Sets the size in KiB that the file may reach; 0: no limit. Before it would pass that size, it is
// renamed to the same name with ".1", and a new one begins.
void ostrel_log_set_limit(int limitKiB);

// Has the file opened anew, by the next record or by ostrel_log_tend(), since it was moved away.
// Callable from a signal handler at any moment.
void ostrel_log_reopen();

// Opens the file anew where that was asked for: a daemon that may write nothing for long calls it
// now and then.
void ostrel_log_tend();

// Begins a record with the time, the daemon's name and the text.
void ostrel_log_msg_timed(const char* format, ...) __attribute__((format(printf, 1, 2)));
void vostrel_log_msg_timed(const char* format, va_list arguments)
    __attribute__((format(printf, 1, 0)));

// Appends to the record that was begun. The record is written when it ends with a line end, or when
// the next one begins. One longer than 256 KiB is cut there, and ends with "...".
void vostrel_log_msg(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

// Writes one whole record: the time, the daemon's name and `text`, at most 1 KiB with its line end.
// Callable from a signal handler at any moment: it makes async-signal-safe calls alone and takes no
// lock. errno survives.
void ostrel_log_emergency(const char* text);

// How many records could not be written since the start. Before the first record that can be
// written again stands one that tells how many were lost.
unsigned long ostrel_log_lost();
