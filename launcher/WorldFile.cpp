#include "WorldFile.hpp"

#include "vesmo/filesystem/AtomicFile.hpp"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace server {

std::string WorldFolder(const std::string& world) { return "../Orkalin-data/server/worlds/" + world + "/"; }

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
        auto number_or_throw = [&](auto& value) {
            if (!(words >> value))
                throw std::runtime_error(path + ":" + std::to_string(number) + ": '" + key + "' needs a number");
        };
        if (key == "modules") {
            modules.clear();
            for (std::string name; words >> name;)
                modules.push_back(name);
        } else if (key == "tick_rate") {
            number_or_throw(tickRate);
        } else if (key == "substeps") {
            number_or_throw(substeps);
        } else if (key == "time") {
            number_or_throw(time);
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
