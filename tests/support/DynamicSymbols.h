#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace qorTest {

/// One defined symbol of a shared library's dynamic symbol table.
struct DynamicSymbol {
    std::string kind;  ///< nm's letter: T a function, W a template instantiation, V data, ...
    std::string name;  ///< demangled
};

/// The defined dynamic symbols of the shared library at `path`, as `nm -D --defined-only -C`
/// lists them; empty when nm cannot read it.
inline std::vector<DynamicSymbol> definedDynamicSymbols(const std::string& path) {
    const std::string table = commandOutput("nm -D --defined-only -C \"" + path + "\"");
    std::vector<DynamicSymbol> symbols;
    std::istringstream lines(table);
    std::string line;
    while (std::getline(lines, line)) {
        // "<address> <kind> <demangled name>"
        std::istringstream words(line);
        std::string address;
        DynamicSymbol symbol;
        words >> address >> symbol.kind;
        std::getline(words >> std::ws, symbol.name);
        symbols.push_back(symbol);
    }
    return symbols;
}

}  // namespace qorTest
