#include "WorldFile.hpp"

#include "vesmo/filesystem/AtomicFile.hpp"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace server {

std::string WorldFolder(const std::string& world) { return "../Orkalin-data/server/worlds/" + world + "/"; }

std::vector<std::string> SplitModuleList(const std::string& list) {
    std::vector<std::string> names;
    std::string name;
    for (const char c : list + ",") {
        if (c == ',' || std::isspace(static_cast<unsigned char>(c))) {
            if (!name.empty())
                names.push_back(name);
            name.clear();
        } else {
            name += c;
        }
    }
    return names;
}

bool WorldFile::Read(const std::string& path) {
    std::ifstream in(path);
    if (!in)
        return false;
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        std::istringstream words(line);
        std::string key;
        if (!(words >> key) || key[0] == '#')
            continue;
        const std::string where = path + ":" + std::to_string(number) + ": '" + key + "'";
        auto number_or_throw = [&](auto& value) {
            if (!(words >> value))
                throw std::runtime_error(where + " needs a number");
        };
        if (key == "modules") {
            std::string rest;
            std::getline(words, rest);
            modules = SplitModuleList(rest);
        } else if (key == "tick_rate") {
            number_or_throw(tickRate);
            if (!(tickRate >= kMinTickRate && tickRate <= kMaxTickRate))
                throw std::runtime_error(where + " wants a number from 1 to 1000");
        } else if (key == "substeps") {
            number_or_throw(substeps);
            if (substeps < kMinSubsteps || substeps > kMaxSubsteps)
                throw std::runtime_error(where + " wants a whole number from 1 to 64");
        } else if (key == "time") {
            number_or_throw(time);
            if (!std::isfinite(time))
                throw std::runtime_error(where + " wants a finite number");
        } else if (key == "ticks") {
            number_or_throw(ticks);
        } else {
            std::string rest;
            std::getline(words, rest);
            unknown.emplace_back(key, rest);
        }
    }
    return true;
}

void WorldFile::Write(const std::string& path) const {
    std::ostringstream out;
    out << "# Orkalin world, kept by orkalin-server\nmodules";
    for (const std::string& name : modules)
        out << ' ' << name;
    char numbers[160];
    std::snprintf(numbers, sizeof numbers, "\ntick_rate %.17g\nsubsteps %d\ntime %.17g\nticks %llu\n", tickRate,
                  substeps, time, static_cast<unsigned long long>(ticks));
    out << numbers;
    for (const auto& [key, rest] : unknown)
        out << key << rest << '\n';
    vesmo::filesystem::WriteFileAtomic(path, out.str());
}

} // namespace server
