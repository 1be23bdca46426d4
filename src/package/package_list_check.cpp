// package_list_check PACKAGE_FOLDER [LIST_TO_PACK]
//
// Checks the package list (PACKAGE_FOLDER/PxvUnInst.log) against the folder's
// files before scripts/package.sh packs them, and writes the list to pack to
// LIST_TO_PACK: the same list, or with its "Make Dir: " lines appended in
// reverse order when it did not end with them. Exit status 0 when the list is
// right, 1 when it is not (every problem printed with its line), 2 when the
// folder or the list cannot be read. Built and run on the packaging machine.
#include "package/package_list_text.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

// File names on the packaging machine are UTF-8; a byte that is not part of
// a UTF-8 sequence stands for itself.
std::wstring FromUtf8(const std::string& bytes)
{
    std::wstring text;
    for (std::size_t i = 0; i < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[i]);
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        char32_t code = length == 1 ? lead : lead & (0x3F >> (length - 1));
        bool valid = i + length <= bytes.size();
        for (std::size_t k = 1; valid && k < length; ++k) {
            const auto next = static_cast<unsigned char>(bytes[i + k]);
            valid = (next & 0xC0) == 0x80;
            code = code << 6 | (next & 0x3F);
        }
        text += static_cast<wchar_t>(valid ? code : lead);
        i += valid ? length : 1;
    }
    return text;
}

std::vector<PayloadEntry> ReadPayload(const fs::path& folder)
{
    std::vector<PayloadEntry> payload;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        std::string name = fs::relative(entry.path(), folder).generic_string();
        std::replace(name.begin(), name.end(), '/', '\\');
        payload.push_back({FromUtf8(name), entry.is_directory()});
    }
    return payload;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        std::cerr << "usage: package_list_check PACKAGE_FOLDER [LIST_TO_PACK]\n";
        return 2;
    }
    const fs::path folder = argv[1];
    const fs::path listPath = folder / "PxvUnInst.log";
    std::ifstream listFile(listPath, std::ios::binary);
    if (!listFile) {
        std::cerr << listPath.string() << ": no package list; every package needs its PxvUnInst.log\n";
        return 2;
    }
    const std::string list{std::istreambuf_iterator<char>(listFile), std::istreambuf_iterator<char>()};
    std::vector<PayloadEntry> payload;
    try {
        payload = ReadPayload(folder);
    } catch (const fs::filesystem_error& error) {
        std::cerr << error.what() << '\n';
        return 2;
    }

    const PackageListCheck check = CheckPackageList(list, payload);
    for (const auto& problem : check.problems) {
        if (problem.line == 0) {
            std::cerr << folder.string() << ": " << problem.reason << '\n';
        } else {
            std::cerr << listPath.string() << ", line " << problem.line << ": " << problem.text << "\n    "
                      << problem.reason << '\n';
        }
    }
    if (!check.problems.empty()) {
        return 1;
    }
    if (check.tailAppended) {
        std::cout << listPath.string()
                  << ": the \"Make Dir: \" lines appended again in reverse order, so that removal takes each "
                     "folder after its children\n";
    }
    if (argc == 3) {
        std::ofstream out(argv[2], std::ios::binary | std::ios::trunc);
        out << check.list;
        if (!out.flush()) {
            std::cerr << argv[2] << ": cannot be written\n";
            return 2;
        }
    }
    return 0;
}
