#include "tests/macos/framework_objects.hpp"

#include <algorithm>
#include <cstring>

namespace {

long live = 0;

const FrameworkObject* objectAt(const void* pointer) {
    return static_cast<const FrameworkObject*>(pointer);
}

}  // namespace

FrameworkObject::FrameworkObject(Kind objectKind, std::string objectText)
    : kind(objectKind), text(std::move(objectText)) {
    ++live;
}

FrameworkObject::~FrameworkObject() {
    --live;
}

__CFDictionary::~__CFDictionary() {
    for (const auto& [key, value] : entries) {
        CFRelease(key);
        CFRelease(value);
    }
}

long quernlight::test::liveFrameworkObjects() {
    return live;
}

extern "C" {

const __CFBoolean trueObject{"true"};

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue = &trueObject;
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{};

void CFRelease(CFTypeRef object) {
    if (--objectAt(object)->owners == 0) {
        delete objectAt(object);
    }
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    return static_cast<CFTypeID>(objectAt(object)->kind);
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, CFStringEncoding) {
    return new __CFString{text};
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex length, CFStringEncoding,
                                    Boolean) {
    return new __CFString{
        std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length))};
}

CFIndex CFStringGetLength(CFStringRef string) {
    return static_cast<CFIndex>(string->text.size());
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding) {
    return length * 3;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding) {
    if (static_cast<std::size_t>(size) <= string->text.size()) {
        return false;
    }
    std::memcpy(buffer, string->text.c_str(), string->text.size() + 1);
    return true;
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
    return new __CFData{std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length))};
}

CFTypeID CFDataGetTypeID(void) {
    return static_cast<CFTypeID>(FrameworkObject::Kind::data);
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
    return reinterpret_cast<const UInt8*>(data->text.data());
}

CFIndex CFDataGetLength(CFDataRef data) {
    return static_cast<CFIndex>(data->text.size());
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks*,
                                                 const CFDictionaryValueCallBacks*) {
    return new __CFDictionary;
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    auto& entries = dictionary->entries;
    ++objectAt(value)->owners;
    const auto known =
        std::find_if(entries.begin(), entries.end(), [&](const auto& entry) { return entry.first == key; });
    if (known != entries.end()) {
        CFRelease(std::exchange(known->second, objectAt(value)));
        return;
    }
    ++objectAt(key)->owners;
    entries.emplace_back(objectAt(key), objectAt(value));
}

}  // extern "C"
