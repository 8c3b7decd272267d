#include "host/autostart/service_file.hpp"

#include <fstream>
#include <iterator>

#include "host/process/private_files.hpp"
#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

UserError unusable(const fs::path& file, const std::string& what, const std::error_code& error) {
    return UserError("The service's file " + file.string() + " cannot be " + what + " (" + error.message() +
                     "); check its directory's permissions.");
}

/// Beside the file, so that it can take its place.
fs::path written(const fs::path& file, const std::string& text) {
    const fs::path beside = file.string() + ".new";
    std::error_code ignored;
    fs::remove(beside, ignored);
    makePrivateFile(beside);
    std::ofstream stream(beside, std::ios::binary | std::ios::trunc);
    stream << text << std::flush;
    if (!stream) {
        throw unusable(file, "written", std::make_error_code(std::errc::io_error));
    }
    return beside;
}

}  // namespace

std::optional<std::string> readServiceFile(const fs::path& file) {
    std::error_code error;
    const auto status = fs::symlink_status(file, error);
    if (status.type() == fs::file_type::not_found) {
        return std::nullopt;
    }
    std::ifstream stream(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    if (!stream && !fs::is_regular_file(file, error)) {
        throw unusable(file, "read", std::make_error_code(std::errc::invalid_argument));
    }
    return text;
}

void requireOurs(const fs::path& file) {
    const auto text = readServiceFile(file);
    if (text && !isOurs(*text)) {
        throw UserError("The file " + file.string() +
                        " was not made by this program, and is left as it is; move it away first.");
    }
}

void writeServiceFile(const fs::path& file, const std::string& text) {
    requireOurs(file);
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    if (!error) {
        fs::rename(written(file, text), file, error);
    }
    if (error) {
        throw unusable(file, "written", error);
    }
}

void removeServiceFile(const fs::path& file) {
    requireOurs(file);
    std::error_code error;
    fs::remove(file, error);
    if (error) {
        throw unusable(file, "removed", error);
    }
    const fs::path atLogin = file.parent_path() / "default.target.wants" / file.filename();
    if (fs::is_symlink(atLogin, error)) {
        fs::remove(atLogin, error);  // what starts nothing does no harm where it stays
    }
}

}  // namespace quernlight::host
