#pragma once

// Configuration objects: named parameters (texts) and named children, in order of insertion. They
// travel over the bus as JSON objects.
//
// Ownership: every cfg_get_empty() is matched by one cfg_release(); a child that was inserted
// belongs to both, so it is released by its maker as well.
// Threads: an object belongs to one thread at a time.

#include <string>

#include "ostrel/json_source.h"

struct cfg_t;

// A new, empty object.
cfg_t* cfg_get_empty();

// Gives up one reference; null is allowed.
void cfg_release(cfg_t* object);

// Sets the parameter `name` to a copy of `value`. -1 when an argument is null.
int cfg_set_param(cfg_t* object, const char* name, const char* value);

// The parameter's text, owned by the object, or null.
const char* cfg_get_param(const cfg_t* object, const char* name);

// Puts `child` under `name`, in place of one that was there, and takes a reference of its own. -1
// when an argument is null or `child` holds `object`.
int cfg_insert_child(cfg_t* object, const char* name, cfg_t* child);

// The child, without a reference, or null.
cfg_t* cfg_get_child(const cfg_t* object, const char* name);

// The object for the bus: valid as long as the object.
const ostrel::JsonSource* cfg_json_source(const cfg_t* object);
