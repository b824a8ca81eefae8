#pragma once

// The platform's registry calls by their own names, over the hives that the session has mounted (see registry.h).
// Every call answers a system error code, ERROR_SUCCESS for success. Text is UTF-8 ended by a zero byte; what of a
// hive's text UTF-8 can't hold travels in the forms of platform/system/text.h and comes back unharmed.
//
// Thread safety: any number of threads may call at once; calls that read exclude only those that write.

#include <cstdint>

struct HKEY__;
using HKEY = HKEY__*;
using BYTE = std::uint8_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using LSTATUS = LONG;
using REGSAM = DWORD;
using SECURITY_INFORMATION = DWORD;

/// 100 ns since 1601-01-01 UTC.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(std::uintptr_t{0x80000000});
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(std::uintptr_t{0x80000001});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002});
inline const HKEY HKEY_USERS = reinterpret_cast<HKEY>(std::uintptr_t{0x80000003});
inline const HKEY HKEY_PERFORMANCE_DATA = reinterpret_cast<HKEY>(std::uintptr_t{0x80000004});
inline const HKEY HKEY_CURRENT_CONFIG = reinterpret_cast<HKEY>(std::uintptr_t{0x80000005});
inline const HKEY HKEY_DYN_DATA = reinterpret_cast<HKEY>(std::uintptr_t{0x80000006});

inline constexpr LSTATUS ERROR_SUCCESS = 0;
inline constexpr LSTATUS ERROR_FILE_NOT_FOUND = 2;
inline constexpr LSTATUS ERROR_ACCESS_DENIED = 5;
inline constexpr LSTATUS ERROR_INVALID_HANDLE = 6;
inline constexpr LSTATUS ERROR_WRITE_PROTECT = 19;
inline constexpr LSTATUS ERROR_NOT_SUPPORTED = 50;
inline constexpr LSTATUS ERROR_INVALID_PARAMETER = 87;
inline constexpr LSTATUS ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr LSTATUS ERROR_ALREADY_EXISTS = 183;
inline constexpr LSTATUS ERROR_MORE_DATA = 234;
inline constexpr LSTATUS ERROR_NO_MORE_ITEMS = 259;
inline constexpr LSTATUS ERROR_REGISTRY_CORRUPT = 1015;
inline constexpr LSTATUS ERROR_REGISTRY_IO_FAILED = 1016;
inline constexpr LSTATUS ERROR_KEY_DELETED = 1018;
inline constexpr LSTATUS ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr LSTATUS ERROR_CANT_RESOLVE_FILENAME = 1921;

inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr REGSAM KEY_NOTIFY = 0x0010;
inline constexpr REGSAM KEY_CREATE_LINK = 0x0020;
inline constexpr REGSAM DELETE = 0x00010000;
inline constexpr REGSAM READ_CONTROL = 0x00020000;
inline constexpr REGSAM ACCESS_SYSTEM_SECURITY = 0x01000000;
inline constexpr REGSAM MAXIMUM_ALLOWED = 0x02000000;
inline constexpr REGSAM KEY_READ = 0x00020019;
inline constexpr REGSAM KEY_WRITE = 0x00020006;
inline constexpr REGSAM KEY_ALL_ACCESS = 0x000F003F;

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_DWORD_BIG_ENDIAN = 5;
inline constexpr DWORD REG_LINK = 6;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_RESOURCE_LIST = 8;
inline constexpr DWORD REG_FULL_RESOURCE_DESCRIPTOR = 9;
inline constexpr DWORD REG_RESOURCE_REQUIREMENTS_LIST = 10;
inline constexpr DWORD REG_QWORD = 11;

inline constexpr DWORD REG_OPTION_CREATE_LINK = 2;
inline constexpr DWORD REG_OPTION_OPEN_LINK = 8;

inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

inline constexpr SECURITY_INFORMATION OWNER_SECURITY_INFORMATION = 1;
inline constexpr SECURITY_INFORMATION GROUP_SECURITY_INFORMATION = 2;
inline constexpr SECURITY_INFORMATION DACL_SECURITY_INFORMATION = 4;
inline constexpr SECURITY_INFORMATION SACL_SECURITY_INFORMATION = 8;

/// Opens the key `subKey` below `key`, without regard to case. A null or empty `subKey` opens a new handle to `key`
/// itself, or answers a predefined handle as it is. Components are split at backslashes; one backslash at the end is
/// passed over. Links are followed; with REG_OPTION_OPEN_LINK in `options`, which is 0 otherwise, one at the end of the
/// path is opened itself. The handle keeps the rights that it is granted here.
/// Answers 2 if a component is missing or a link leads nowhere, 5 if the rights are refused, 6 for a handle that is not
/// open, 87 for a null `result` or other options, 1921 behind 32 links, 1113 for a path that is no UTF-8, 1015 or 1016
/// where the hive is damaged or its file failed. On failure `*result` is null. The caller closes what it gets.
LSTATUS RegOpenKeyExA(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result);

/// RegOpenKeyExA with MAXIMUM_ALLOWED.
LSTATUS RegOpenKeyA(HKEY key, const char* subKey, HKEY* result);

/// Opens the key, or makes it and all that is missing on the way to it. `disposition` (may be null) tells 1 for a new
/// key and 2 for one that was there. A new key has `className` (may be null) and shares the security of its parent.
/// `reserved` must be 0, and `options` 0, REG_OPTION_OPEN_LINK, or REG_OPTION_CREATE_LINK, with which a new key is a
/// link, and is opened itself; `security` is not looked at. Answers 19 where the hive is mounted read only, 5 where no
/// hive is mounted or the right to make subkeys is refused; otherwise as RegOpenKeyExA and HiveWriter::CreateKey.
LSTATUS RegCreateKeyExA(HKEY key, const char* subKey, DWORD reserved, const char* className, DWORD options,
                        REGSAM access, const void* security, HKEY* result, DWORD* disposition);

/// Closes a handle. A predefined handle is accepted and stays usable. Answers 6 for a handle that is not open.
LSTATUS RegCloseKey(HKEY key);

/// Counts and sizes of a key. Every pointer may be null. `classSize`: in, room in bytes with the terminator; out,
/// length without it; a short buffer gives 234. The longest subkey name, class and value name are bytes of UTF-8
/// without terminator; the longest data is bytes as RegEnumValueA hands them out. They are true maxima, found by a pass
/// over the key, and not the sizes that the file claims; in a hive whose records lie inside each other they may be
/// larger than need be. `securitySize`: bytes of the whole descriptor.
LSTATUS RegQueryInfoKeyA(HKEY key, char* className, DWORD* classSize, DWORD* reserved, DWORD* subKeys,
                         DWORD* longestSubKey, DWORD* longestClass, DWORD* values, DWORD* longestValueName,
                         DWORD* longestData, DWORD* securitySize, FILETIME* lastWrite);

/// The name of subkey number `index`, in stored order. `nameSize`: in, room in bytes with the terminator; out, length
/// without it. `className` and `classSize` go together and may be null; `lastWrite` may be null.
/// Answers 259 past the end, 234 for a short buffer (`*nameSize` is then left as it was).
LSTATUS RegEnumKeyExA(HKEY key, DWORD index, char* name, DWORD* nameSize, DWORD* reserved, char* className,
                      DWORD* classSize, FILETIME* lastWrite);

/// RegEnumKeyExA with nothing but the name; `nameSize` is the room in bytes.
LSTATUS RegEnumKeyA(HKEY key, DWORD index, char* name, DWORD nameSize);

/// Value number `index`, in stored order. `nameSize` as in RegEnumKeyExA. `data` may be null to ask for the size alone;
/// `dataSize` may be null only together with `data`, and then the data is not looked at. Types 1, 2 and 7 are handed
/// out as UTF-8, terminators as stored. Answers 259 past the end, 234 where the name or the data doesn't fit:
/// `*dataSize` then holds what is needed, and the buffer as much of the data as it has room for.
LSTATUS RegEnumValueA(HKEY key, DWORD index, char* name, DWORD* nameSize, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* dataSize);

/// The value of that name, without regard to case; null or empty is the key's default value. Otherwise as
/// RegEnumValueA. Answers 2 if there is no such value.
LSTATUS RegQueryValueExA(HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* dataSize);

/// The asked parts of the key's descriptor, self-relative. `size`: in, room; out, bytes needed or written.
/// Answers 5 without READ_CONTROL on the handle, 122 for a short buffer, 1338 where the stored descriptor is broken.
LSTATUS RegGetKeySecurity(HKEY key, SECURITY_INFORMATION information, BYTE* descriptor, DWORD* size);

/// Stores a value. Types 1, 2 and 7 are given as UTF-8 and stored as UTF-16LE: texts get the terminator that they lack,
/// lists are closed by their empty string. `reserved` must be 0; `data` may be null for no bytes. Needs KEY_SET_VALUE
/// on the handle. Answers 5, 6, 19, 87, 1015, 1018, and 1113 for a text that is no UTF-8.
LSTATUS RegSetValueExA(HKEY key, const char* name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);

/// Deletes a key without subkeys; on the older platform a key with all below it, as RegDeleteTreeA. A link that is
/// named goes itself. An empty `subKey` deletes the key of the handle, which then answers 1018 to everything but
/// RegCloseKey; it needs DELETE on the handle. Answers 2, 5 for a key with subkeys or one that
/// is marked undeletable or the root of a hive, 19, 87 for a null `subKey`.
LSTATUS RegDeleteKeyA(HKEY key, const char* subKey);

/// Deletes the key `subKey` below the handle's with all below it, or nothing: whatever stands against any of its keys
/// is found before the first one goes. Handles to them answer 1018 afterwards. Answers as RegDeleteKeyA; 1015 where a
/// record below it can't be read.
LSTATUS RegDeleteTreeA(HKEY key, const char* subKey);

/// Gives the subkey `subKey`, or with an empty one the key of the handle, another name. Handles to it stay good.
/// Answers 183 where the name is taken; otherwise as RegDeleteKeyA.
LSTATUS RegRenameKey(HKEY key, const char* subKey, const char* newName);

/// Deletes a value; null or empty is the key's default value. Answers 2 if there is none. Needs KEY_SET_VALUE on the
/// handle.
LSTATUS RegDeleteValueA(HKEY key, const char* name);

/// Gives a value another name, in its place among the others. Answers 2 if there is none, 183 where the name is taken.
LSTATUS RegRenameValue(HKEY key, const char* name, const char* newName);

/// Makes all changes to the hive of the key durable. Answers what the file system answered.
LSTATUS RegFlushKey(HKEY key);

/// Saves the key and all below it, but nothing that is mounted there, as a new hive file, durable when this returns.
/// `file` is a path of this system; `security` is not looked at. Answers 183 where there is such a file, 5 for a key
/// that lies in no hive, 50 for a merged one.
LSTATUS RegSaveKeyA(HKEY key, const char* file, const void* security);

/// Puts the content of a hive file in the place of the key's: values, subkeys, classes, times and security. The file is
/// read as it would be mounted, its logs applied in memory. `flags`: 0 or 4. Handles to keys below it answer 1018
/// afterwards. Answers 1015 for a file that can't be read whole, and the key is then as it was; otherwise as
/// RegSetValueExA.
LSTATUS RegRestoreKeyA(HKEY key, const char* file, DWORD flags);
