// The host's services are bound by name, and a host that lacks some is a host all the same.

#include "library/host_services.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "library/platform.h"
#include "ovrasql/library.h"
#include "tests/support/memory_host.h"

namespace ovrasql {
namespace {

class HostServicesTest : public ::testing::Test {
  protected:
    void SetUp() override { TheHost().Reset(); }
    void TearDown() override { BindHostServices(nullptr); }
};

std::vector<std::string> NamesOf(bool called) {
    std::vector<std::string> calledNames;
    std::vector<std::string> otherNames;
#define OVRA_CALLED_SERVICE(name) calledNames.emplace_back(#name);
#define OVRA_UNCALLED_SERVICE(name) otherNames.emplace_back(#name);
#include "library/host_service_names.def"
    return called ? calledNames : otherNames;
}

TEST_F(HostServicesTest, LooksUp194NamesOfWhich33AreCalled) {
    const std::vector<std::string> called = NamesOf(true);
    const std::vector<std::string> others = NamesOf(false);
    EXPECT_EQ(called.size(), 33U);
    EXPECT_EQ(others.size(), 161U);
    std::set<std::string> all(called.begin(), called.end());
    all.insert(others.begin(), others.end());
    EXPECT_EQ(all.size(), 194U) << "a name stands twice";
}

TEST_F(HostServicesTest, BindsEveryServiceOfTheRunningProgram) {
    ovra_register_library(nullptr);
#define OVRA_CALLED_SERVICE(name)                                                           \
    EXPECT_EQ(reinterpret_cast<void*>(hostServices.name), reinterpret_cast<void*>(&::name)) \
        << #name;
#define OVRA_UNCALLED_SERVICE(name) EXPECT_EQ(hostServices.name, nullptr) << #name;
#include "library/host_service_names.def"
}

TEST_F(HostServicesTest, ASecondRegistrationBindsAnew) {
    // The C library's module has none of the names.
    void* module = dlopen("libm.so.6", RTLD_NOW);
    ASSERT_NE(module, nullptr);
    ovra_register_library(module);
    EXPECT_EQ(hostServices.ovFile_Open, nullptr);
    EXPECT_EQ(hostServices.ovDatabase_data, nullptr);
    ovra_register_library(nullptr);
    EXPECT_NE(hostServices.ovFile_Open, nullptr);
    dlclose(module);
}

TEST_F(HostServicesTest, FindsNamesInTheGivenModuleAlone) {
    void* module = dlopen("libm.so.6", RTLD_NOW);
    ASSERT_NE(module, nullptr);
    EXPECT_NE(FindInModule(module, "cos"), nullptr);
    EXPECT_EQ(FindInModule(module, "ovFile_Open"), nullptr);
    EXPECT_NE(FindInModule(nullptr, "ovFile_Open"), nullptr);
    dlclose(module);
}

// A name that the host has not got: the forwarder answers as the service does in a failure.
TEST_F(HostServicesTest, AMissingServiceFails) {
    hostServices = HostServices{};
    int32_t length = 7;
    char* name = nullptr;
    char buffer[4] = {};
    ovDatabase_SetData(nullptr, buffer);
    EXPECT_EQ(ovDatabase_data(buffer), nullptr);
    EXPECT_EQ(ovDatabase_Program(buffer), nullptr);
    EXPECT_EQ(ovDatabase_AddView(buffer, "v", 1, buffer), nullptr);
    EXPECT_EQ(ovDatabaseView_data(buffer), nullptr);
    EXPECT_EQ(ovDatabaseView_Database(buffer), nullptr);
    EXPECT_EQ(ovDatabaseView_AddVariable(buffer, "v", 1, buffer), nullptr);
    EXPECT_EQ(ovDatabaseVariable_data(buffer), nullptr);
    ovDatabaseVariable_SetData(buffer, buffer);
    ovDatabaseVariable_SetDirty(buffer);
    EXPECT_EQ(ovVariable_Value(buffer, &length), nullptr);
    EXPECT_EQ(length, 0);
    ovVariable_SetValue(buffer, "x", 1);
    ovVariable_SetValue_Integer(buffer, 1);
    EXPECT_EQ(ovVariable_Array_Element(1, buffer, 1), nullptr);
    EXPECT_EQ(ovVariable_Struct_Member("m", 1, buffer, 1), nullptr);
    EXPECT_EQ(ovVariableList_First(buffer), nullptr);
    EXPECT_EQ(ovVariableList_Next(buffer), nullptr);
    EXPECT_EQ(ovFile_Open(buffer, 2, "f", 1, 3), nullptr);
    EXPECT_EQ(ovFile_Exists(buffer, 2, "f", 1), 0);
    EXPECT_EQ(ovFile_IsDirectory(buffer, 2, "f", 1), 0);
    EXPECT_EQ(ovFile_MakeDirectory(buffer, 2, "f", 1), -1);
    EXPECT_EQ(ovFile_RemoveDirectory(buffer, 2, "f", 1), -1);
    EXPECT_EQ(ovFile_Delete(buffer, 2, "f", 1), -1);
    EXPECT_EQ(ovFile_Rename(buffer, 2, "f", 1, 2, "g", 1), -1);
    EXPECT_EQ(ovFile_MakeTemporary(buffer, 2, "f", 1, 39, &name, &length), nullptr);
    ovFile_Close(buffer);
    EXPECT_EQ(ovFile_Read(buffer, buffer, 4), 0);
    EXPECT_EQ(ovFile_Write(buffer, buffer, 4), 0);
    EXPECT_EQ(ovFile_Seek(buffer, 0), -1);
    EXPECT_EQ(ovFile_Lock(buffer, 1, 0, 1), -1);
    EXPECT_EQ(ovFile_Release(buffer, 0, 1), -1);
    EXPECT_EQ(ovFile_Error(buffer, buffer, &length), nullptr);
    EXPECT_EQ(ovFile_Error(buffer, buffer, nullptr), nullptr);
    ovProgram_Free(buffer, buffer);
    EXPECT_TRUE(HostFileError(buffer, buffer).IsEmpty());
    EXPECT_TRUE(HostVariableText(buffer).IsEmpty());
}

TEST_F(HostServicesTest, AMissingTemporaryNameIsNullAndEmpty) {
    hostServices.ovFile_MakeTemporary = nullptr;
    char text[] = "left over";
    char* name = text;
    int32_t length = 9;
    EXPECT_EQ(ovFile_MakeTemporary(TheHost().Program(), 2, "f", 1, 39, &name, &length), nullptr);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(length, 0);
}

TEST_F(HostServicesTest, ForwardsArgumentsAndResults) {
    void* program = TheHost().Program();
    void* file = ovFile_Open(program, 2, "name and more", 4, 15);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(ovFile_Lock(file, 2, 10, 3), 0);
    EXPECT_EQ(ovFile_Seek(file, 2), 2);
    EXPECT_EQ(ovFile_Write(file, "xyz", 3), 3);
    EXPECT_EQ(ovFile_Release(file, 10, 3), 0);
    ovFile_Close(file);
    EXPECT_EQ(ovFile_Rename(program, 2, "name!", 4, 2, "other!", 5), 0);
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Open name flags 15\n"
              "ovFile_Lock name mode 2 at 10 length 3\n"
              "ovFile_Seek name at 2\n"
              "ovFile_Write name at 2 length 3\n"
              "ovFile_Release name at 10 length 3\n"
              "ovFile_Close name\n"
              "ovFile_Rename name to other\n");
    EXPECT_EQ(TheHost().FileBytes("other"), (Bytes{0, 0, 'x', 'y', 'z'}));
}

TEST_F(HostServicesTest, AHostErrorTextThatIsNullIsEmpty) {
    TheHost().SetErrorTextNull();
    EXPECT_TRUE(HostFileError(TheHost().Program(), nullptr).IsEmpty());
    TheHost().SetErrorText("Disk full");
    EXPECT_TRUE(HostFileError(TheHost().Program(), nullptr) == TextView("Disk full"));
}

TEST_F(HostServicesTest, AVariableIsReadByItsLengthAndMayHoldNuls) {
    void* variable = TheHost().MakeVariable(std::string_view("a\0b", 3));
    EXPECT_TRUE(HostVariableText(variable) == TextView("a\0b", 3));
}

// A length below 0 tells no end of the text, so nothing of it is read.
TEST_F(HostServicesTest, ATextOfNegativeLengthIsEmpty) {
    hostServices.ovVariable_Value = [](void*, int32_t* length) -> const char* {
        *length = -1;
        return "text";
    };
    hostServices.ovFile_Error = [](void*, void*, int32_t* length) -> const char* {
        *length = -1;
        return "text";
    };
    int32_t variable = 0;
    EXPECT_TRUE(HostVariableText(&variable).IsEmpty());
    EXPECT_TRUE(HostFileError(TheHost().Program(), nullptr).IsEmpty());
    TheHost().Reset();
}

}  // namespace
}  // namespace ovrasql
