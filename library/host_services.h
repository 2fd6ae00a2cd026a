#pragma once

// The host's services as the rest of the library calls them: one forwarding function a service,
// under the service's own name, over one table of addresses that registration fills.
//
// The table is library-wide. It is written by BindHostServices alone, before any other entry is
// used, and only read afterwards. What each call means, and who owns what, is told in
// include/ovrasql/services.h. A service that the host does not have is null in the table, and its
// forwarder gives the value by which that service reports failure.

#include <cstdint>

#include "foundation/text_view.h"
#include "ovrasql/services.h"

namespace ovrasql {

// The root that all paths of the library are relative to.
inline constexpr int32_t kDatabaseLocation = OVRA_LOCATION_DATABASE;

// Open flags and lock modes, as the host takes them.
inline constexpr int32_t kOpenExisting = OVRA_OPEN_EXISTING;
inline constexpr int32_t kOpenNew = OVRA_OPEN_NEW;
inline constexpr int32_t kOpenTrace = OVRA_OPEN_TRACE;
inline constexpr int32_t kOpenTemporary = OVRA_OPEN_TEMPORARY;
inline constexpr int32_t kLockShared = OVRA_LOCK_SHARED;
inline constexpr int32_t kLockExclusive = OVRA_LOCK_EXCLUSIVE;

struct HostServices {
// NOLINTBEGIN(bugprone-macro-parentheses): a member's name takes none
#define OVRA_CALLED_SERVICE(name) decltype(&::name) name = nullptr;
#define OVRA_UNCALLED_SERVICE(name) void* name = nullptr;
// NOLINTEND(bugprone-macro-parentheses)
#include "library/host_service_names.def"
};

extern HostServices hostServices;

// Looks up every name in the module (null: the running program) and stores what was found, null for
// what was not.
void BindHostServices(void* module);

inline void ovDatabase_SetData(void* database, void* data) {
    if (hostServices.ovDatabase_SetData != nullptr) {
        hostServices.ovDatabase_SetData(database, data);
    }
}

inline void* ovDatabase_data(void* database) {
    return hostServices.ovDatabase_data == nullptr ? nullptr
                                                   : hostServices.ovDatabase_data(database);
}

inline void* ovDatabase_Program(void* database) {
    return hostServices.ovDatabase_Program == nullptr ? nullptr
                                                      : hostServices.ovDatabase_Program(database);
}

inline void* ovDatabase_AddView(void* database, const char* name, int32_t nameLength, void* data) {
    return hostServices.ovDatabase_AddView == nullptr
               ? nullptr
               : hostServices.ovDatabase_AddView(database, name, nameLength, data);
}

inline void* ovDatabaseView_data(void* view) {
    return hostServices.ovDatabaseView_data == nullptr ? nullptr
                                                       : hostServices.ovDatabaseView_data(view);
}

inline void* ovDatabaseView_Database(void* view) {
    return hostServices.ovDatabaseView_Database == nullptr
               ? nullptr
               : hostServices.ovDatabaseView_Database(view);
}

inline void* ovDatabaseView_AddVariable(void* view, const char* name, int32_t nameLength,
                                        void* data) {
    return hostServices.ovDatabaseView_AddVariable == nullptr
               ? nullptr
               : hostServices.ovDatabaseView_AddVariable(view, name, nameLength, data);
}

inline void* ovDatabaseVariable_data(void* variable) {
    return hostServices.ovDatabaseVariable_data == nullptr
               ? nullptr
               : hostServices.ovDatabaseVariable_data(variable);
}

inline void ovDatabaseVariable_SetData(void* variable, void* data) {
    if (hostServices.ovDatabaseVariable_SetData != nullptr) {
        hostServices.ovDatabaseVariable_SetData(variable, data);
    }
}

inline void ovDatabaseVariable_SetDirty(void* variable) {
    if (hostServices.ovDatabaseVariable_SetDirty != nullptr) {
        hostServices.ovDatabaseVariable_SetDirty(variable);
    }
}

inline const char* ovVariable_Value(void* variable, int32_t* length) {
    *length = 0;
    return hostServices.ovVariable_Value == nullptr
               ? nullptr
               : hostServices.ovVariable_Value(variable, length);
}

inline void ovVariable_SetValue(void* variable, const char* text, int32_t length) {
    if (hostServices.ovVariable_SetValue != nullptr) {
        hostServices.ovVariable_SetValue(variable, text, length);
    }
}

inline void ovVariable_SetValue_Integer(void* variable, int32_t value) {
    if (hostServices.ovVariable_SetValue_Integer != nullptr) {
        hostServices.ovVariable_SetValue_Integer(variable, value);
    }
}

inline void* ovVariable_Array_Element(int32_t index, void* variable, int32_t create) {
    return hostServices.ovVariable_Array_Element == nullptr
               ? nullptr
               : hostServices.ovVariable_Array_Element(index, variable, create);
}

inline void* ovVariable_Struct_Member(const char* name, int32_t nameLength, void* variable,
                                      int32_t create) {
    return hostServices.ovVariable_Struct_Member == nullptr
               ? nullptr
               : hostServices.ovVariable_Struct_Member(name, nameLength, variable, create);
}

inline void* ovVariableList_First(void* list) {
    return hostServices.ovVariableList_First == nullptr ? nullptr
                                                        : hostServices.ovVariableList_First(list);
}

inline void* ovVariableList_Next(void* list) {
    return hostServices.ovVariableList_Next == nullptr ? nullptr
                                                       : hostServices.ovVariableList_Next(list);
}

inline void* ovFile_Open(void* program, int32_t location, const char* path, int32_t length,
                         int32_t flags) {
    return hostServices.ovFile_Open == nullptr
               ? nullptr
               : hostServices.ovFile_Open(program, location, path, length, flags);
}

inline int32_t ovFile_Exists(void* program, int32_t location, const char* path, int32_t length) {
    return hostServices.ovFile_Exists == nullptr
               ? 0
               : hostServices.ovFile_Exists(program, location, path, length);
}

inline int32_t ovFile_IsDirectory(void* program, int32_t location, const char* path,
                                  int32_t length) {
    return hostServices.ovFile_IsDirectory == nullptr
               ? 0
               : hostServices.ovFile_IsDirectory(program, location, path, length);
}

inline int32_t ovFile_MakeDirectory(void* program, int32_t location, const char* path,
                                    int32_t length) {
    return hostServices.ovFile_MakeDirectory == nullptr
               ? -1
               : hostServices.ovFile_MakeDirectory(program, location, path, length);
}

inline int32_t ovFile_RemoveDirectory(void* program, int32_t location, const char* path,
                                      int32_t length) {
    return hostServices.ovFile_RemoveDirectory == nullptr
               ? -1
               : hostServices.ovFile_RemoveDirectory(program, location, path, length);
}

inline int32_t ovFile_Delete(void* program, int32_t location, const char* path, int32_t length) {
    return hostServices.ovFile_Delete == nullptr
               ? -1
               : hostServices.ovFile_Delete(program, location, path, length);
}

inline int32_t ovFile_Rename(void* program, int32_t location, const char* path, int32_t length,
                             int32_t newLocation, const char* newPath, int32_t newLength) {
    return hostServices.ovFile_Rename == nullptr
               ? -1
               : hostServices.ovFile_Rename(program, location, path, length, newLocation, newPath,
                                            newLength);
}

// Both outputs are set before the call, so that a host that fails without touching them is safe.
inline void* ovFile_MakeTemporary(void* program, int32_t location, const char* path, int32_t length,
                                  int32_t flags, char** name, int32_t* nameLength) {
    *name = nullptr;
    *nameLength = 0;
    return hostServices.ovFile_MakeTemporary == nullptr
               ? nullptr
               : hostServices.ovFile_MakeTemporary(program, location, path, length, flags, name,
                                                   nameLength);
}

inline void ovFile_Close(void* file) {
    if (hostServices.ovFile_Close != nullptr) {
        hostServices.ovFile_Close(file);
    }
}

inline int32_t ovFile_Read(void* file, void* buffer, int32_t length) {
    return hostServices.ovFile_Read == nullptr ? 0 : hostServices.ovFile_Read(file, buffer, length);
}

inline int32_t ovFile_Write(void* file, const void* buffer, int32_t length) {
    return hostServices.ovFile_Write == nullptr ? 0
                                                : hostServices.ovFile_Write(file, buffer, length);
}

inline int64_t ovFile_Seek(void* file, int64_t offset) {
    return hostServices.ovFile_Seek == nullptr ? -1 : hostServices.ovFile_Seek(file, offset);
}

inline int32_t ovFile_Lock(void* file, int32_t mode, int64_t offset, int64_t length) {
    return hostServices.ovFile_Lock == nullptr
               ? -1
               : hostServices.ovFile_Lock(file, mode, offset, length);
}

inline int32_t ovFile_Release(void* file, int64_t offset, int64_t length) {
    return hostServices.ovFile_Release == nullptr
               ? -1
               : hostServices.ovFile_Release(file, offset, length);
}

inline const char* ovFile_Error(void* program, void* file, int32_t* length) {
    if (length != nullptr) {
        *length = 0;
    }
    return hostServices.ovFile_Error == nullptr ? nullptr
                                                : hostServices.ovFile_Error(program, file, length);
}

inline void ovProgram_Free(void* program, void* pointer) {
    if (hostServices.ovProgram_Free != nullptr) {
        hostServices.ovProgram_Free(program, pointer);
    }
}

// The text of the host's last file failure, empty when the host gives none. Valid until the next
// call of a file service: join it into the message at once.
inline TextView HostFileError(void* program, void* file) {
    int32_t length = 0;
    const char* text = ovFile_Error(program, file, &length);
    return TextView(text, length < 0 ? 0 : length);
}

// A script variable's value, empty when the host gives none. Copy it at once.
inline TextView HostVariableText(void* variable) {
    int32_t length = 0;
    const char* text = ovVariable_Value(variable, &length);
    return TextView(text, length < 0 ? 0 : length);
}

}  // namespace ovrasql
