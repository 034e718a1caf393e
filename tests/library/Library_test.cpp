// The installed library as others use it: found by CMake and by pkg-config from any place, with the
// programs that docs/library.md shows.
#include <array>
#include <cstdio>
#include <filesystem>
#include <string>

#include "support/FolderTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrograms[] = {"line_list", "fit", "scan", "tilt"};

fs::path Source(const std::string& name) { return fs::path(KIV_SOURCE_DIR) / name; }

// Runs a shell command, which has to succeed, and returns what it printed.
std::string Output(const std::string& command) {
    std::string text;
    std::FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return text;
    std::array<char, 4096> block;
    while (const std::size_t num = std::fread(block.data(), 1, block.size(), pipe)) {
        text.append(block.data(), num);
    }
    EXPECT_EQ(pclose(pipe), 0) << command << "\n" << text;
    return text;
}

class LibraryTest : public FolderTest {
  protected:
    /// Installs to a folder and moves what is there to `prefix`.
    static void Install(const std::string& prefix) {
        const std::string made = fs::absolute("made").string();
        Output(KIV_CMAKE " --install " KIV_BINARY_DIR " --prefix " + made);
        fs::rename(made, prefix);
    }

    /// The block of this language that comes first behind the link to a program in the document.
    static std::string Quoted(const std::string& program, const std::string& language) {
        const std::string text = ReadText(Source("docs/library.md"));
        const std::string fence = "\n```" + language + "\n";
        const std::size_t link = text.find("](../examples/library/" + program + ".cpp)");
        const std::size_t begin = text.find(fence, link) + fence.size();
        return text.substr(begin, text.find("\n```\n", begin) + 1 - begin);
    }

    static std::string Run(const std::string& folder, const std::string& program,
                           const std::string& arguments = "") {
        return Output(folder + "/" + program + " " + arguments);
    }
};

TEST_F(LibraryTest, DocumentQuotesThePrograms) {
    for (const std::string program : kPrograms) {
        EXPECT_EQ(Quoted(program, "cpp"), ReadText(Source("examples/library/" + program + ".cpp")));
    }
}

TEST_F(LibraryTest, CMakeFindsItAndProgramsPrintWhatTheDocumentSays) {
    Install("prefix");
    fs::copy(Source("examples/library"), "programs");
    Output(KIV_CMAKE " -S programs -B build -G '" KIV_GENERATOR
                     "' -DCMAKE_BUILD_TYPE=Release"
                     " -DCMAKE_CXX_COMPILER=" KIV_CXX " '-DCMAKE_CXX_FLAGS=" KIV_CXX_FLAGS
                     "'"
                     " -DCMAKE_PREFIX_PATH=" +
           fs::absolute("prefix").string());
    Output(KIV_CMAKE " --build build");
    EXPECT_EQ(Run("build", "line_list"), Quoted("line_list", "text"));
    const std::string measured = Source("examples/so2/so2.asn").string();
    EXPECT_EQ(Run("build", "fit", measured), Quoted("fit", "text"));
    EXPECT_EQ(Run("build", "scan", "1"), Quoted("scan", "text"));
    EXPECT_EQ(Run("build", "scan", "8"), Quoted("scan", "text"));
    EXPECT_EQ(Run("build", "tilt"), Quoted("tilt", "text"));
    EXPECT_EQ(Run("prefix/bin", "kiv", "--version"), "kiv v" KIV_VERSION "\n");
}

TEST_F(LibraryTest, PkgConfigFindsItAndHeadersStandAlone) {
    Install("prefix");
    const std::string pkg_config = "PKG_CONFIG_PATH=prefix/" KIV_LIBDIR "/pkgconfig pkg-config ";
    EXPECT_EQ(Output(pkg_config + "--modversion kiv"), KIV_VERSION "\n");
    const std::string compile = KIV_CXX " -std=c++20 " KIV_CXX_FLAGS " ";
    Output(compile + Source("examples/library/line_list.cpp").string() + " -o line_list $(" +
           pkg_config + "--cflags --libs kiv)");
    EXPECT_EQ(Run(".", "line_list"), Quoted("line_list", "text"));

    int headers = 0;
    for (const auto& header : fs::directory_iterator("prefix/include/kiv")) {
        WriteText("alone.cpp", "#include \"kiv/" + header.path().filename().string() + "\"\n");
        Output(compile + "-Wall -Wextra -Wpedantic -Wshadow -Werror -fsyntax-only alone.cpp $(" +
               pkg_config + "--cflags kiv)");
        ++headers;
    }
    EXPECT_GE(headers, 10);
}

}  // namespace
}  // namespace kiv
