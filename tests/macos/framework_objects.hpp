#pragma once

#include <string>
#include <utility>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>

/// What every object of the framework has: a count of its owners, here also what a test sees of it.
struct FrameworkObject {
    enum class Kind : CFTypeID { string = 1, data, dictionary, boolean, url };

    Kind kind;
    std::string text;
    mutable long owners = 1;

    FrameworkObject(Kind objectKind, std::string objectText);
    FrameworkObject(const FrameworkObject&) = delete;
    FrameworkObject& operator=(const FrameworkObject&) = delete;
    virtual ~FrameworkObject();
};

struct __CFString final : FrameworkObject {
    explicit __CFString(std::string string) : FrameworkObject(Kind::string, std::move(string)) {}
};

struct __CFData final : FrameworkObject {
    explicit __CFData(std::string bytes) : FrameworkObject(Kind::data, std::move(bytes)) {}
};

struct __CFBoolean final : FrameworkObject {
    explicit __CFBoolean(std::string name) : FrameworkObject(Kind::boolean, std::move(name)) {}
};

/// Its text is the path, which ends in a slash where it is a directory's.
struct __CFURL final : FrameworkObject {
    explicit __CFURL(std::string path) : FrameworkObject(Kind::url, std::move(path)) {}
};

/// Owns its keys and values.
struct __CFDictionary final : FrameworkObject {
    std::vector<std::pair<const FrameworkObject*, const FrameworkObject*>> entries{};

    __CFDictionary() : FrameworkObject(Kind::dictionary, {}) {}
    ~__CFDictionary() override;
};

namespace quernlight::test {

/// Framework objects that are alive now.
long liveFrameworkObjects();

}  // namespace quernlight::test
