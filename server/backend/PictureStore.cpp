#include "PictureStore.h"

#include "../http/Random.h"
#include "DurableFile.h"
#include "Fields.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tailwise::backend {
namespace {

constexpr std::size_t nameHexBytes = 16;

std::string_view extensionFor(std::string_view contentType)
{
    return contentType == "image/png" ? ".png" : ".jpg";
}

} // namespace

PictureStore::PictureStore(std::filesystem::path directory) : directory_(std::move(directory))
{
    std::filesystem::create_directories(directory_);
}

std::optional<std::string> PictureStore::detectedType(std::string_view bytes)
{
    static constexpr std::string_view png = "\x89PNG\r\n\x1a\n";
    static constexpr std::string_view jpeg = "\xff\xd8\xff";
    if (bytes.size() > png.size() && bytes.substr(0, png.size()) == png)
        return "image/png";
    if (bytes.size() > jpeg.size() && bytes.substr(0, jpeg.size()) == jpeg)
        return "image/jpeg";
    return std::nullopt;
}

bool PictureStore::isGeneratedName(std::string_view name)
{
    const auto dot = name.find('.');
    if (dot != nameHexBytes * 2)
        return false;
    const auto extension = name.substr(dot);
    if (extension != ".png" && extension != ".jpg")
        return false;
    for (const char c : name.substr(0, dot)) {
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')))
            return false;
    }
    return true;
}

std::string PictureStore::store(std::string_view bytes)
{
    if (bytes.size() > maxBytes)
        throw BadRequest("The picture is larger than " + std::to_string(maxBytes / (1024 * 1024)) +
                             " MiB.",
                         net::http::status::payload_too_large);
    const auto type = detectedType(bytes);
    if (!type)
        throw BadRequest("The picture must be a PNG or JPEG image.",
                         net::http::status::unsupported_media_type);
    const std::string name = net::randomHex(nameHexBytes) + std::string(extensionFor(*type));
    const auto temporary = directory_ / ("." + name + ".part");
    writeNewFileDurably(temporary, bytes);
    std::filesystem::rename(temporary, directory_ / name);
    return name;
}

std::optional<StoredPicture> PictureStore::load(std::string_view name) const
{
    if (!isGeneratedName(name))
        return std::nullopt;
    std::ifstream in(directory_ / std::string(name), std::ios::binary);
    if (!in)
        return std::nullopt;
    StoredPicture picture;
    picture.bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    picture.contentType = name.ends_with(".png") ? "image/png" : "image/jpeg";
    return picture;
}

void PictureStore::remove(std::string_view name)
{
    if (!isGeneratedName(name))
        return;
    std::error_code ignored;
    std::filesystem::remove(directory_ / std::string(name), ignored);
}

} // namespace tailwise::backend
