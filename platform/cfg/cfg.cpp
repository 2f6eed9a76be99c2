#include "ostrel/cfg.h"

#include <json-c/json.h>

#include <memory>
#include <vector>

namespace {

using Json = std::unique_ptr<json_object, int (*)(json_object*)>;

// The value of one name: a child, or a parameter's text when `child` is null.
struct Member {
    std::string name;
    std::string text;
    cfg_t* child;
};

}  // namespace

struct cfg_t final : public ostrel::JsonSource {
    cfg_t() = default;
    ~cfg_t() override;
    cfg_t(const cfg_t&) = delete;
    cfg_t& operator=(const cfg_t&) = delete;

    std::string toJson() const override;
    json_object* build() const;
    const Member* find(const char* name) const;
    void set(const char* name, const char* text, cfg_t* child);
    bool holds(const cfg_t* other) const;

    unsigned references = 1;
    std::vector<Member> members;
};

cfg_t::~cfg_t() {
    for (const Member& member : members) {
        cfg_release(member.child);
    }
}

std::string cfg_t::toJson() const {
    const Json json(build(), json_object_put);
    return json_object_to_json_string_ext(json.get(),
                                          JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

json_object* cfg_t::build() const {
    json_object* object = json_object_new_object();
    for (const Member& member : members) {
        json_object* value = member.child != nullptr ? member.child->build()
                                                     : json_object_new_string(member.text.c_str());
        json_object_object_add(object, member.name.c_str(), value);
    }
    return object;
}

const Member* cfg_t::find(const char* name) const {
    for (const Member& member : members) {
        if (member.name == name) {
            return &member;
        }
    }
    return nullptr;
}

void cfg_t::set(const char* name, const char* text, cfg_t* child) {
    for (Member& member : members) {
        if (member.name == name) {
            std::string copy = text;  // `text` may be the very one that is replaced
            cfg_release(member.child);
            member.text = std::move(copy);
            member.child = child;
            return;
        }
    }
    members.push_back({name, text, child});
}

bool cfg_t::holds(const cfg_t* other) const {
    if (this == other) {
        return true;
    }
    for (const Member& member : members) {
        if (member.child != nullptr && member.child->holds(other)) {
            return true;
        }
    }
    return false;
}

cfg_t* cfg_get_empty() {
    return new cfg_t;
}

void cfg_release(cfg_t* object) {
    if (object != nullptr && --object->references == 0) {
        delete object;
    }
}

int cfg_set_param(cfg_t* object, const char* name, const char* value) {
    if (object == nullptr || name == nullptr || value == nullptr) {
        return -1;
    }
    object->set(name, value, nullptr);
    return 0;
}

const char* cfg_get_param(const cfg_t* object, const char* name) {
    if (object == nullptr || name == nullptr) {
        return nullptr;
    }
    const Member* member = object->find(name);
    return member != nullptr && member->child == nullptr ? member->text.c_str() : nullptr;
}

int cfg_insert_child(cfg_t* object, const char* name, cfg_t* child) {
    if (object == nullptr || name == nullptr || child == nullptr || child->holds(object)) {
        return -1;
    }
    // Before set(), which may release the same child.
    ++child->references;
    object->set(name, "", child);
    return 0;
}

const ostrel::JsonSource* cfg_json_source(const cfg_t* object) {
    return object;
}
