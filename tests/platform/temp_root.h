// A fresh LUMO_ROOT per test, removed afterwards.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace lm::test {

class TempRoot {
public:
    TempRoot() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "lumo-test-XXXXXX").string();
        if (!mkdtemp(tmpl.data())) abort();
        path_ = tmpl;
        setenv("LUMO_ROOT", path_.c_str(), 1);
    }
    ~TempRoot() {
        unsetenv("LUMO_ROOT");
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace lm::test
