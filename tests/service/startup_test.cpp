#include <memory>
#include <new>
#include <ostream>
#include <vector>

#include "service/service_test.h"
#include "support/argument_vector.h"
#include "support/output_capture.h"
#include "support/row_name.h"
#include "velmoraserver/app/velmoraserviced/velmoraserviced.h"

using CommandLineProcessing::ArgvParser;

namespace {

bool memoryIsShort = false;

}  // namespace

// What may have no memory asks here: new (std::nothrow). The name is the linker's.
extern "C" void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& /*unused*/) {
    return memoryIsShort ? nullptr : ::operator new(size);
}

namespace {

std::unique_ptr<ArgvParser> makeParser() {
    return std::unique_ptr<ArgvParser>(initArgParser());
}

// The daemon's parser after a command line that it accepts.
std::unique_ptr<ArgvParser> parse(const std::vector<std::string>& arguments) {
    std::vector<std::string> elements = {"velmoraserviced"};
    elements.insert(elements.end(), arguments.begin(), arguments.end());
    ArgumentVector vector(elements);
    auto parser = makeParser();
    EXPECT_EQ(parser->parse(vector.argc(), vector.argv()), ArgvParser::NoParserError);
    return parser;
}

class Startup : public ServiceTest {
protected:
    // An INI file with this content.
    std::string ini(const std::string& content) const {
        writeFile(directory.path("a.ini"), content);
        return directory.path("a.ini");
    }
};

TEST(GetIniFile, IsTheFixedPath) {
    EXPECT_EQ(getIniFile(), "/opt/velmoraserver/velmora.ini");
}

// ----- The command line -----

struct Option {
    const char* name;
    const char* alternative;
};

std::ostream& operator<<(std::ostream& out, const Option& option) {
    return out << option.name;
}

class InitArgParser : public testing::TestWithParam<Option> {};

TEST_P(InitArgParser, DeclaresTheOptionUnderBothLabels) {
    const auto parser = makeParser();

    EXPECT_TRUE(parser->isDefinedOption(GetParam().name));
    EXPECT_TRUE(parser->isDefinedOption(GetParam().alternative));
}

constexpr Option options[] = {{"help", "h"},        {"connections", "c"}, {"ini", "i"},
                              {"port", "p"},        {"threads", "t"},     {"threadQueuesize", "q"},
                              {"queueTimeout", "o"}};
INSTANTIATE_TEST_SUITE_P(Options, InitArgParser, testing::ValuesIn(options), rowName);

TEST(InitArgParser, MakesANewParserEachTime) {
    EXPECT_NE(makeParser(), makeParser());
}

TEST(InitArgParser, RequiresNoOption) {
    EXPECT_FALSE(parse({})->foundOption("port"));
}

TEST(PrintUsage, PrintsTheUsageTextAtWidthEighty) {
    const auto parser = makeParser();
    OutputCapture capture;

    printUsage(parser.get());

    EXPECT_EQ(capture.text(),
              "[LOG]\tVelmora Service\n\n"
              "Available options\n-----------------\n"
              "-h, --help\n    Velmora Service Help.\n\n"
              "-c <value>, --connections <value>\n    Number of connections\n\n"
              "-i <value>, --ini <value>\n    Ini file path\n\n"
              "-p <value>, --port <value>\n    Port for Server\n\n"
              "-t <value>, --threads <value>\n    Number of threads\n\n"
              "-q <value>, --threadQueuesize <value>\n    Queue Size\n\n"
              "-o <value>, --queueTimeout <value>\n    Queue Timeout (ms)\n\n"
              "\r\n");
}

TEST(PrintUsage, IsFlushedAtOnce) {
    const auto parser = makeParser();
    OutputCapture capture;

    printUsage(parser.get());

    const std::string written = capture.written();
    EXPECT_EQ(written, capture.text());
    EXPECT_NE(written, "");
}

TEST(PrintUsage, BreaksLinesAtEightyCharacters) {
    ArgvParser parser;
    parser.setIntroductoryDescription(std::string(80, 'x') + "y");
    OutputCapture capture;

    printUsage(&parser);

    EXPECT_EQ(capture.text(), "[LOG]\t" + std::string(80, 'x') + "\ny\n\n\r\n");
}

TEST_F(Startup, TakesTheSettingsOfTheCommandLine) {
    const auto parser = parse({"-c", "2", "-p", "6000", "-t", "3", "-q", "4", "-o", "5"});

    EXPECT_EQ(startService(parser.get()), 0);

    EXPECT_EQ(calls(),
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=6000 conns=2 threads=3 threadQueueSize=4 queueTimeout=5\n");
}

TEST_F(Startup, HasDefaultsForACommandLineWithoutSettings) {
    const auto parser = parse({});

    EXPECT_EQ(startService(parser.get()), 0);

    EXPECT_EQ(calls(),
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n");
}

TEST_F(Startup, HasDefaultsForAGroupOfAllSettings) {
    const auto parser = parse({"-cptqo"});

    EXPECT_EQ(startService(parser.get()), 0);

    EXPECT_EQ(calls(),
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n");
}

TEST_F(Startup, FailsForACommandLineWhenTheEngineFails) {
    const EnvironmentVariable fail("ENGINE_DOUBLE_FAIL", "1");
    const auto parser = parse({"-p", "6000"});

    EXPECT_EQ(startService(parser.get()), -1);
}

// The blocks of the controller come first.
TEST_F(Startup, FailsForACommandLineWithoutMemoryForTheController) {
    const auto parser = parse({"-p", "6000"});
    memoryIsShort = true;
    const int result = startService(parser.get());
    memoryIsShort = false;

    EXPECT_EQ(result, -1);
    EXPECT_EQ(calls(), "");
}

TEST_F(Startup, LogsNothingOfItsOwnForACommandLine) {
    const auto parser = parse({"-p", "6000"});

    EXPECT_EQ(startService(parser.get()), 0);

    EXPECT_EQ(log().find("velmoraserviced/velmoraserviced"), std::string::npos) << log();
    EXPECT_TRUE(
        log().starts_with("[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
                          "velmoraserver/app/common/velmoraservice : 74] -> "))
        << log();
}

// ----- The INI file -----

TEST_F(Startup, TakesTheSettingsOfAnIniFile) {
    const std::string path =
        ini("[default]\nport=6000\nconnections=2\nthreads=3\nthreadQueuesize=4\nqueueTimeout=5\n");

    EXPECT_EQ(startService(path), 0);

    EXPECT_EQ(calls(),
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=6000 conns=2 threads=3 threadQueueSize=4 queueTimeout=5\n");
}

TEST_F(Startup, HasDefaultsForAnEmptyIniFile) {
    EXPECT_EQ(startService(ini("")), 0);

    EXPECT_EQ(calls(),
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n");
}

TEST_F(Startup, LogsTheIniFileBeforeTheBlocksOfTheController) {
    const std::string path = ini("");

    EXPECT_EQ(startService(path), 0);

    EXPECT_TRUE(log().starts_with(
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/velmoraserviced/velmoraserviced : 102] -> Start parser file : " +
        path +
        "\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 74] -> "))
        << log();
}

TEST_F(Startup, FailsForAnIniFileThatCannotBeOpened) {
    Controller* before = Controller::create_instance(1, 2, 3, 4, 5);

    EXPECT_EQ(startService("nowhere/a.ini"), -1);

    EXPECT_EQ(log(),
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/velmoraserviced/velmoraserviced : 102] -> "
              "Start parser file : nowhere/a.ini\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : CRITICAL : "
              "velmoraserver/app/velmoraserviced/velmoraserviced : 106] -> "
              "Error to open file nowhere/a.ini\r\n");
    EXPECT_EQ(calls(), "");
    EXPECT_EQ(Controller::instance(), before);
}

TEST_F(Startup, FailsForAnIniFileWhenTheEngineFails) {
    const EnvironmentVariable fail("ENGINE_DOUBLE_FAIL", "1");

    EXPECT_EQ(startService(ini("[default]\nport=6000\n")), -1);
}

// ----- The stop -----

TEST_F(Startup, FailsForAnIniFileWithoutMemoryForTheController) {
    const std::string file = ini("[default]\nport=6000\n");
    memoryIsShort = true;
    const int result = startService(file);
    memoryIsShort = false;

    EXPECT_EQ(result, -1);
    EXPECT_EQ(calls(), "");
}

TEST_F(Startup, StopsTheServerThatItStarted) {
    ASSERT_EQ(startService(ini("")), 0);

    EXPECT_EQ(Stop(), 0);

    EXPECT_TRUE(calls().ends_with("queueTimeout=0\ndestroy server\n")) << calls();
}

TEST_F(Startup, SaysWhenTheServerCannotBeStopped) {
    const EnvironmentVariable result("ENGINE_DOUBLE_DESTROY", "8");
    ASSERT_EQ(startService(ini("")), 0);

    EXPECT_EQ(Stop(), -1);
}

}  // namespace
