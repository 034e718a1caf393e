// What may stand on a command line, and what is said of what may not.
#include <algorithm>
#include <filesystem>

#include "kiv/files.h"
#include "support/CommandTest.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

class CommandLine : public CommandTest {};

// Wrong use, and what the message must name.
TEST_F(CommandLine, TellsWhatIsWrongAndWhatWasMeant) {
    WriteFit();
    const std::pair<const char*, const char*> wrong[] = {
        {"-", "kiv run -"},
        {"--foo", "unknown option \"--foo\""},
        {"--josn check rotor.toml", "did you mean --json?"},
        {"check rotor.toml --josn", "did you mean --json?"},
        {"chek rotor.toml", "did you mean check?"},
        {"rotor.toml rotor.toml", "no command \"rotor.toml\""},
        {"rotor.toml", "kiv run rotor.toml"},
        {"run", "kiv run FILE"},
        {"check", "kiv check FILE..."},
        {"run rotor.toml other.toml", "\"other.toml\""},
        {"run rotor.toml --out", "--out needs a value"},
        {"run rotor.toml --write asc,xyz", "\"xyz\""},
        {"run rotor.toml -o x", "--out BASE"},
        {"run rotor.toml --force", "unknown option \"--force\""},
        {"run rotor.toml -j none", "-j"},
        {"run rotor.toml -j -3", "-j"},
        {"run rotor.toml -j 0", "-j takes a number of threads from 1 to 1024, not 0"},
        {"export csv rotor.toml -j 1025", "from 1 to 1024"},
        {"report rotor.toml -j 99999999999", "-j"},
        {"view rotor.toml -j 1.5", "-j"},
        {"run rotor.toml --out rotor --write asc --bas x", "unknown option"},
        {"new sphere", "rotor and band"},
        {"convert rotor.toml", "-o OUT"},
        {"convert rotor.toml -o rotor.txt", "rotor.txt"},
        {"help chek", "chek"},
        {"view", "kiv view FILE"},
        {"-q", "a command is missing"},
        {"check rotor.toml -o rotor.toml", "rotor.toml"},
        {"check rotor.toml -o ./rotor.toml", "rotor.toml"},
    };
    const Files before = AllFiles();
    for (const auto& [words, named] : wrong) {
        const Ended ended = Kiv(words);
        EXPECT_EQ(ended.status, 2) << words;
        EXPECT_TRUE(ended.err.starts_with("kiv: ") && Has(ended.err, named)) << words << "\n"
                                                                             << ended.err;
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << words;
        EXPECT_EQ(ended.out, "") << words;
    }
    EXPECT_TRUE(AllFiles() == before);
}

TEST_F(CommandLine, HelpAndVersion) {
    const Ended help = Kiv("--help");
    EXPECT_EQ(help.status, 0);
    for (const char* same : {"-h", "help", "-q help", "help -q"}) {
        EXPECT_EQ(Kiv(same).out, help.out) << same;
    }
    EXPECT_EQ(Kiv("--version").out, "kiv " + std::string(kInputVersion) + "\n");
    for (const char* name : {"check", "run", "report", "convert", "new"}) {
        EXPECT_TRUE(Has(help.out, std::string("\n  ") + name + " ")) << name;
        const std::string own = Kiv(std::string("help ") + name).out;
        EXPECT_TRUE(own.starts_with(std::string("kiv ") + name));
        EXPECT_EQ(Kiv(std::string(name) + " --help").out, own);
    }
}

TEST_F(CommandLine, OptionsStandAnywhereAndFoldersCount) {
    fs::create_directory("there");
    fs::current_path("there");
    WriteFit();
    fs::current_path("..");
    const std::string plain = Kiv("check there/rotor.toml").out;
    EXPECT_TRUE(Has(plain, "there/rotor.asc")) << plain;
    EXPECT_EQ(Kiv("check rotor.toml -C there").out, Kiv("-C there check rotor.toml").out);
    EXPECT_EQ(Kiv("-C nowhere check rotor.toml").status, 5);
    EXPECT_EQ(Kiv("run there/rotor.toml -j 2 --no-color").status, 0);
    EXPECT_TRUE(fs::exists("there/rotor.asc")) << "in the folder of the input";
    EXPECT_EQ(Kiv("check there/rotor.toml -o said.txt").out, "");
    EXPECT_EQ(ReadText("said.txt"), plain);
    EXPECT_EQ(Kiv("check there/rotor.toml -o -").out, plain);
}

// A file that is called like a command, and several files at once.
TEST_F(CommandLine, NamesOfFiles) {
    const std::string input = WriteFit();
    WriteText("check", "nothing");
    EXPECT_EQ(Kiv("check ./check").status, 3);
    WriteText("bad.toml", "kiv = 1\n");
    EXPECT_EQ(Kiv("check rotor.toml bad.toml").status, 3);
    EXPECT_EQ(Kiv("check bad.toml nowhere.toml rotor.toml").status, 5);
    EXPECT_EQ(Kiv("check .").err, "kiv: cannot read .: it is a folder\n");
    WriteText("o'ne \xC3\xA4.toml", input);
    EXPECT_EQ(Kiv("run \"o'ne \xC3\xA4.toml\"").status, 0);
    EXPECT_TRUE(fs::exists("o'ne \xC3\xA4.fit.toml"));
}

TEST_F(CommandLine, TemplatesRunAndCheckClean) {
    for (const std::string kind : {"rotor", "band"}) {
        EXPECT_EQ(Kiv("new " + kind + " -o " + kind + ".toml").status, 0);
        EXPECT_EQ(Kiv("new " + kind).out, ReadText(kind + ".toml"));
        const Ended checked = Kiv("check " + kind + ".toml");
        EXPECT_EQ(checked.status, 0);
        EXPECT_EQ(checked.err, "");
        EXPECT_EQ(Kiv("run " + kind + ".toml").status, 0);
        WriteText(kind + ".toml", "mine");
        EXPECT_EQ(Kiv("new " + kind + " -o " + kind + ".toml").status, 2);
        EXPECT_EQ(ReadText(kind + ".toml"), "mine");
        EXPECT_EQ(Kiv("new " + kind + " --force -o " + kind + ".toml").status, 0);
        EXPECT_NE(ReadText(kind + ".toml"), "mine");
    }
}

}  // namespace
}  // namespace kiv
