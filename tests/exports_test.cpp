// The shared library exports exactly the functions of the public header.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

// Defined dynamic symbols of the shared library: name -> (type, address).
std::map<std::string, std::pair<char, std::string>> exportedSymbols() {
    std::map<std::string, std::pair<char, std::string>> out;
    FILE* nm = popen("nm -D --defined-only '" ZOL_SHARED_LIB "'", "r");
    if (!nm) return out;
    char line[512];
    while (std::fgets(line, sizeof line, nm)) {
        std::istringstream in(line);
        std::string address, name;
        char type;
        if (in >> address >> type >> name) out[name] = {type, address};
    }
    pclose(nm);
    return out;
}

// Names declared with ZOL_API in the public header.
std::set<std::string> declaredFunctions() {
    std::ifstream header(ZOL_PUBLIC_HEADER);
    std::set<std::string> out;
    const std::regex decl(R"(^\s*ZOL_API\b[^(]*?\b(\w+)\s*\()");
    std::string line;
    std::smatch m;
    while (std::getline(header, line))
        if (std::regex_search(line, m, decl)) out.insert(m[1]);
    return out;
}

}  // namespace

TEST(Exports, ExactlyThePublicFunctions) {
    const auto symbols = exportedSymbols();
    ASSERT_FALSE(symbols.empty()) << "nm gave nothing for " << ZOL_SHARED_LIB;
    const std::set<std::string> linkerMarks = {"_init", "_fini", "_edata", "_end", "__bss_start"};
    std::set<std::string> functions;
    for (const auto& [name, info] : symbols) {
        if (linkerMarks.count(name)) continue;
        EXPECT_EQ(0u, name.rfind("zol", 0)) << "exported: " << name;
        if (info.first == 'T' || info.first == 'W' || info.first == 'i') functions.insert(name);
    }
    const auto declared = declaredFunctions();
    ASSERT_GT(declared.size(), 30u) << "could not read " << ZOL_PUBLIC_HEADER;
    EXPECT_EQ(declared, functions);

    // One function under several names.
    auto address = [&](const char* n) {
        return symbols.count(n) ? symbols.at(n).second : "missing " + std::string(n);
    };
    EXPECT_EQ(address("zoliMalloc"), address("zolsMalloc"));
    EXPECT_EQ(address("zolDeleteROI"), address("zolDeleteTileInfo"));
    EXPECT_EQ(address("zolDeleteROI"), address("zolDeleteColorTwist"));
    EXPECT_NE(address("zolMalloc"), address("zoliMalloc"));
}
