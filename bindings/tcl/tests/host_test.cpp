// A program that uses the library itself and has Tcl built in: the package leaves the program's handlers and
// registry as they are.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <tcl.h>
#include <vek/ryn.h>
#include <vek/tov.h>
#include <vek/vek_init.h>

namespace {

struct DeleteInterp {
    void operator()(Tcl_Interp *interp) const { Tcl_DeleteInterp(interp); }
};
using Interp = std::unique_ptr<Tcl_Interp, DeleteInterp>;

/// An interpreter that finds the package without the library of scripts, which the program need not have.
Interp newInterp() {
    Interp interp(Tcl_CreateInterp());
    const char *script = "set dir $env(VEK_TCL_PACKAGE); source $dir/pkgIndex.tcl; package require vek";
    EXPECT_EQ(TCL_OK, Tcl_Eval(interp.get(), script)) << Tcl_GetStringResult(interp.get());
    return interp;
}

std::string eval(const Interp &interp, const std::string &script) {
    Tcl_Eval(interp.get(), script.c_str());
    return Tcl_GetStringResult(interp.get());
}

void write(const std::string &path, const std::string &text) {
    std::ofstream(path) << text;
}

int tagErrors = 0;
void countTagError(int /*code*/, const char * /*text*/, const char * /*where*/, int /*line*/) {
    ++tagErrors;
}

class Host : public testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "vek_host_XXXXXX").string();
        directory_ = mkdtemp(pattern.data());
        std::filesystem::current_path(directory_);
        std::filesystem::create_directory("lib");
        write("vekinfo.tag", "FOO 1\n");
        write("own.lib", "DEFINE own lib\n");
        write("vek.lib", "DEFINE lib lib\nNOSUCH\n");
        std::filesystem::create_directory("broken");
        write("broken/vekinfo.tag", "DMTYPE\n");
        setenv("HOME", "/nonexistent", 1);
        Tcl_FindExecutable("host");
    }

    void TearDown() override {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(directory_);
    }

  private:
    std::string directory_;
};

} // namespace

TEST_F(Host, TagErrorHandlerIsPutBackAfterEachCommand) {
    vekInitNonVEKApp("host");
    const Interp interp = newInterp();
    tovRegisterErrorHandler(countTagError);
    EXPECT_EQ("syntax error: DMTYPE line in vekinfo.tag file: " + std::filesystem::current_path().string() +
                  "/broken/vekinfo.tag line 1",
              eval(interp, "vek lookup broken FOO"));
    eval(interp, "vek lookup");
    eval(interp, "vek tags . x y");
    EXPECT_EQ(0, tagErrors) << "the command's errors are the script's";
    tovResetCache();
    EXPECT_EQ(nullptr, tovLookupEntry("broken", "FOO", nullptr));
    EXPECT_EQ(1, tagErrors);
    EXPECT_EQ(countTagError, tovRegisterErrorHandler(nullptr));
}

TEST_F(Host, DefaultRegistryIsThatOfTheProgram) {
    vekInitNonVEKApp("host");
    rynHandle own = nullptr;
    ASSERT_EQ(RYN_OK, rynInitialize("own.lib", nullptr, &own));
    const Interp interp = newInterp();
    EXPECT_EQ("lib", eval(interp, "vek libraries [set registry [vek open vek.lib]]"));
    EXPECT_EQ(RYN_OK, rynIsDefined(nullptr, "own"));
    EXPECT_EQ(own, *rynGetCurHandle());
    eval(interp, "catch {vek open nosuch.lib}; vek close $registry");
    EXPECT_EQ(own, *rynGetCurHandle());
    EXPECT_EQ(RYN_OK, rynReleaseHandle(nullptr));
}

TEST_F(Host, ProgramWithoutARegistryHasNoDefault) {
    const Interp interp = newInterp();
    eval(interp, "vek open vek.lib");
    ASSERT_NE(nullptr, rynGetCurHandle());
    EXPECT_EQ(nullptr, *rynGetCurHandle());
}

TEST_F(Host, MisuseByTheProgramIsPrinted) {
    // The first fatal handler that the library is given, that of the package, also serves calls without a registry.
    const Interp interp = newInterp();
    eval(interp, "vek open vek.lib");
    testing::internal::CaptureStderr();
    EXPECT_EQ(RYN_INVALID_PARAMETER, rynIsDefined(nullptr, "own"));
    EXPECT_EQ("*ERROR* - RYN internal error - Invalid Parameter - rynIsDefined()\n",
              testing::internal::GetCapturedStderr());
}

TEST_F(Host, DiagnosticsOfTheProgramArePrinted) {
    // The default handler was in use: its status is the result of reading any file, whatever a handler returns.
    testing::internal::CaptureStderr();
    rynHandle own = nullptr;
    EXPECT_EQ(RYN_SYNTAX_ERROR, rynInitialize("vek.lib", nullptr, &own));
    EXPECT_NE("", testing::internal::GetCapturedStderr());
    const Interp interp = newInterp();
    testing::internal::CaptureStderr();
    EXPECT_EQ("1", eval(interp, "llength [vek diagnostics [vek open vek.lib]]"));
    EXPECT_EQ("1", eval(interp, "catch {vek open -strict 1 vek.lib}"));
    EXPECT_EQ("vek1", eval(interp, "vek registries"));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(Host, NothingIsPrinted) {
    const Interp interp = newInterp();
    testing::internal::CaptureStderr();
    eval(interp, "catch {vek lookup broken FOO}; catch {vek open nosuch.lib}; vek open vek.lib");
    eval(interp, "catch {vek addentry nosuch FOO 1}; catch {vek open -implicittmp nosuch vek.lib}");
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(Host, DeletedInterpreterReleasesItsRegistries) {
    // Without a release the leak checker of the sanitizers ends the process with an error.
    Interp interp = newInterp();
    eval(interp, "vek open vek.lib; vek open own.lib");
    interp.reset();
    rynHandle own = nullptr;
    EXPECT_EQ(RYN_OK, rynInitialize("own.lib", nullptr, &own));
    EXPECT_EQ(RYN_OK, rynReleaseHandle(own));
}

TEST_F(Host, CommandOfADeletedInterpreterFails) {
    const Interp interp = newInterp();
    Tcl_DeleteAssocData(interp.get(), "vek");
    EXPECT_EQ("the interpreter is being deleted", eval(interp, "vek registries"));
    EXPECT_EQ("the interpreter is being deleted", eval(interp, "vek open vek.lib"));
}

TEST_F(Host, InitializedProgramKeepsItsName) {
    std::filesystem::create_directories("inst/tools/bin");
    write("inst/tools/bin/vek_root", "");
    write("inst/tools/bin/host", "");
    for (const char *name : {"vek_root", "host"}) {
        std::filesystem::permissions(std::string("inst/tools/bin/") + name, std::filesystem::perms::all);
    }
    const std::string root = std::filesystem::current_path().string() + "/inst";
    vekInitNonVEKApp((root + "/tools/bin/host").c_str());
    const Interp interp = newInterp();
    EXPECT_EQ(root, eval(interp, "vek interpolate {$VEK_INST_DIR}"));
}
