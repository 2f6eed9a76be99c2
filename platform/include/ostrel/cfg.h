#pragma once

// Configuration objects: named parameters (texts) and named children, in order of insertion. They
// travel over the bus as JSON objects.
//
// Ownership: objects count their references. cfg_get_empty() gives its caller one, and
// cfg_insert_child() gives the parent one.
// Threads: an object belongs to one thread at a time, together with its children.

#include <string>

#include "ostrel/json_source.h"

struct cfg_t;

// A new, empty object. The caller owns one reference until cfg_release(). Never null.
cfg_t* cfg_get_empty();

// Gives up one reference; the last one frees the object. Null does nothing.
void cfg_release(cfg_t* object);

// Sets the parameter `name` to a copy of `value`, in place of an earlier value. 0, or -1 when an
// argument is null.
int cfg_set_param(cfg_t* object, const char* name, const char* value);

// The parameter's text. It lives until the object is changed or freed. Null when there is no such
// parameter or an argument is null.
const char* cfg_get_param(const cfg_t* object, const char* name);

// Puts `child` under `name`, in place of an earlier child, and takes a reference of its own. The
// caller keeps its own. 0, or -1 when an argument is null or `child` contains `object`.
int cfg_insert_child(cfg_t* object, const char* name, cfg_t* child);

// The object for IpcInterface::send(). It lives as long as the object.
const ostrel::JsonSource* cfg_json_source(const cfg_t* object);
