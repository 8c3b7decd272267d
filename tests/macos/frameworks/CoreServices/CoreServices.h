// See CoreFoundation.h beside it.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

extern const CFStringRef kUTTagClassFilenameExtension;
extern const CFStringRef kUTTagClassMIMEType;

CFStringRef UTTypeCreatePreferredIdentifierForTag(CFStringRef tagClass, CFStringRef tag,
                                                  CFStringRef conformingTo);
CFStringRef UTTypeCopyPreferredTagWithClass(CFStringRef type, CFStringRef tagClass);

}  // extern "C"
