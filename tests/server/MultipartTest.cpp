#include "../../server/http/Multipart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

using namespace std::string_literals;
using tailwise::net::multipartBoundary;
using tailwise::net::MultipartLimits;
using tailwise::net::parseMultipart;

namespace {

const std::string boundary = "Boundary-5C1D2E3F-A0B1-4C2D";
const std::string contentType = "multipart/form-data; boundary=" + boundary;
const std::string dashBoundary = "--" + boundary;
const std::string closing = dashBoundary + "--\r\n";
const std::string disposition = "Content-Disposition: form-data; name=\"key\"\r\n";

// The layout our app's upload code produces.
std::string field(const std::string &name, const std::string &value)
{
    return dashBoundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" +
           value + "\r\n";
}

std::string file(const std::string &name, const std::string &filename, const std::string &type,
                 const std::string &bytes)
{
    return dashBoundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"; filename=\"" +
           filename + "\"\r\nContent-Type: " + type + "\r\n\r\n" + bytes + "\r\n";
}

std::string withHeaders(const std::string &headers)
{
    return dashBoundary + "\r\n" + headers + "\r\nv\r\n" + closing;
}

TEST(Multipart, ReadsFieldsAndAFileInTheClientLayout)
{
    const std::string png = "\x89PNG\r\n\x1a\n\0\0\0\rIHDR"s;
    const auto result = parseMultipart(
        contentType, field("Name", "Rex") + field("age", "4") +
                         file("profilePic", "Postimage.png", "image/png", png) + closing);
    ASSERT_TRUE(result.form) << result.error;
    const auto &parts = result.form->parts;
    ASSERT_EQ(parts.size(), 3u);
    EXPECT_EQ(parts[0].name, "Name");
    EXPECT_EQ(parts[0].data, "Rex");
    EXPECT_FALSE(parts[0].filename);
    EXPECT_EQ(parts[1].data, "4");
    EXPECT_EQ(parts[2].filename, "Postimage.png");
    EXPECT_EQ(parts[2].contentType, "image/png");
    EXPECT_EQ(parts[2].data, png);
    EXPECT_EQ(result.form->find("profilePic"), &parts[2]);
}

TEST(Multipart, EmptyFormIsOnlyTheClosingDelimiter)
{
    for (const std::string &body : {closing, dashBoundary + "--"}) {
        const auto result = parseMultipart(contentType, body);
        ASSERT_TRUE(result.form) << result.error;
        EXPECT_TRUE(result.form->parts.empty());
    }
}

TEST(Multipart, FileDataKeepsBinaryAndLookalikeDelimiters)
{
    // Only CRLF "--" boundary ends a part; everything else here is data, including the
    // trailing CRLFs. The bare "gif" type is what one client sends.
    const std::string bytes = "\r\n\0\r"s + dashBoundary + "\n" + dashBoundary + "--x" +
                              dashBoundary + "\r\n--" + boundary.substr(0, boundary.size() - 1) +
                              "\r\n-\r\n\r\n";
    const auto result = parseMultipart(contentType, file("photo", "a.gif", "gif", bytes) +
                                                        field("after", "x") + closing);
    ASSERT_TRUE(result.form) << result.error;
    ASSERT_EQ(result.form->parts.size(), 2u);
    EXPECT_EQ(result.form->parts[0].data, bytes);
    EXPECT_EQ(result.form->parts[0].contentType, "gif");
    EXPECT_EQ(result.form->parts[1].data, "x");
}

TEST(Multipart, EmptyFilenameStaysAFilePart)
{
    const auto result = parseMultipart(contentType, file("profilePic", "", "image/png", "") +
                                                        field("Name", "Rex") + closing);
    ASSERT_TRUE(result.form) << result.error;
    EXPECT_EQ(result.form->parts.at(0).filename, "");
}

// Each prefix sits in an exact-size buffer so the sanitizer catches any read past its end.
TEST(Multipart, EveryTruncatedBodyIsRejected)
{
    const std::string body =
        field("key", "value") + file("f", "x.png", "image/png", "\r\n\r") + closing;
    const std::size_t closingDelimiterEnd = body.size() - 2;
    for (std::size_t length = 0; length < closingDelimiterEnd; ++length) {
        const auto buffer = std::make_unique<char[]>(length);
        std::copy_n(body.data(), length, buffer.get());
        const auto result = parseMultipart(contentType, std::string_view(buffer.get(), length));
        EXPECT_FALSE(result.form) << "prefix of " << length << " bytes";
        // Once the opening boundary is complete the client learns its upload was cut off.
        const bool opened = length >= dashBoundary.size();
        EXPECT_EQ(result.error.find("cut off") != std::string::npos, opened) << result.error;
    }
}

struct BoundaryCase
{
    std::string header;
    std::optional<std::string> boundary;
};

class MultipartBoundary : public testing::TestWithParam<BoundaryCase>
{};

TEST_P(MultipartBoundary, ReadsOnlyValidBoundaries)
{
    EXPECT_EQ(multipartBoundary(GetParam().header), GetParam().boundary);
}

const std::string seventy(70, 'b');

INSTANTIATE_TEST_SUITE_P(
    Headers, MultipartBoundary,
    testing::Values(BoundaryCase{"multipart/form-data; boundary=\"abc\"", "abc"},
                    BoundaryCase{"Multipart/Form-Data;BOUNDARY=abc", "abc"},
                    BoundaryCase{"multipart/form-data; charset=utf-8; boundary=a-b_c.d", "a-b_c.d"},
                    BoundaryCase{"multipart/form-data; boundary=\"a b:c/d?e=f\"", "a b:c/d?e=f"},
                    BoundaryCase{"multipart/form-data; boundary=" + seventy, seventy},
                    BoundaryCase{"multipart/form-data; boundary=" + seventy + "b", std::nullopt},
                    BoundaryCase{"multipart/form-data; boundary=\"\"", std::nullopt},
                    BoundaryCase{"multipart/form-data; boundary=\"abc \"", std::nullopt},
                    BoundaryCase{"multipart/form-data; boundary=\"a@b\"", std::nullopt},
                    BoundaryCase{"multipart/form-data; boundary=\"abc", std::nullopt},
                    BoundaryCase{"multipart/form-data; boundary=a; boundary=b", std::nullopt},
                    BoundaryCase{"multipart/mixed; boundary=abc", std::nullopt}));

struct AcceptedCase
{
    const char *label;
    std::string body;
    std::string name = "key";
    std::string header = contentType;
};

class MultipartAccepts : public testing::TestWithParam<AcceptedCase>
{};

TEST_P(MultipartAccepts, ReadsTheField)
{
    const auto result = parseMultipart(GetParam().header, GetParam().body);
    ASSERT_TRUE(result.form) << result.error;
    ASSERT_EQ(result.form->parts.size(), 1u);
    EXPECT_EQ(result.form->parts[0].name, GetParam().name);
    EXPECT_EQ(result.form->parts[0].data, "v");
}

INSTANTIATE_TEST_SUITE_P(
    Variants, MultipartAccepts,
    testing::Values(
        AcceptedCase{"quotedBoundary", "--a b:c\r\n" + disposition + "\r\nv\r\n--a b:c--\r\n",
                     "key", "multipart/form-data; boundary=\"a b:c\""},
        AcceptedCase{"preamble", "ignored\r\n" + field("key", "v") + closing},
        AcceptedCase{"paddingAfterDelimiter",
                     dashBoundary + " \t\r\n" + disposition + "\r\nv\r\n" + closing},
        AcceptedCase{"caseAndSpacing",
                     withHeaders("content-disposition:Form-Data ;NAME = key; \r\n")},
        AcceptedCase{"escapedQuote",
                     withHeaders("Content-Disposition: form-data; "
                                 "name=\"a\\\"b\"\r\n"),
                     "a\"b"},
        AcceptedCase{"unknownHeader",
                     withHeaders("Content-Transfer-Encoding: binary\r\n" + disposition)},
        AcceptedCase{"whitespaceEpilogue", field("key", "v") + closing + "\r\n \t\r\n"}),
    [](const auto &info) { return info.param.label; });

struct RejectedCase
{
    const char *label;
    std::string body;
    std::string messagePart = {}; // checked when set
    std::string header = contentType;
};

class MultipartRejects : public testing::TestWithParam<RejectedCase>
{};

TEST_P(MultipartRejects, WithAMessage)
{
    const auto result = parseMultipart(GetParam().header, GetParam().body);
    EXPECT_FALSE(result.form);
    EXPECT_FALSE(result.error.empty());
    EXPECT_NE(result.error.find(GetParam().messagePart), std::string::npos) << result.error;
}

INSTANTIATE_TEST_SUITE_P(
    Malformed, MultipartRejects,
    testing::Values(
        RejectedCase{"notMultipart", closing, "multipart/form-data", "application/json"},
        RejectedCase{"noBoundary", closing, "boundary", "multipart/form-data"},
        RejectedCase{"otherBoundary", closing, "", "multipart/form-data; boundary=other"},
        RejectedCase{"textBeforeDelimiterWithoutCrlf", "x" + field("key", "v") + closing},
        RejectedCase{"closingWithoutLeadingCrlf",
                     dashBoundary + "\r\n" + disposition + "\r\nv" + closing, "cut off"},
        RejectedCase{"boundaryWithSuffix",
                     dashBoundary + "x\r\n" + disposition + "\r\nv\r\n" + closing},
        RejectedCase{"dataAfterClosing", field("key", "v") + closing + "tail", "after"},
        RejectedCase{"noDisposition", withHeaders("Content-Type: text/plain\r\n"),
                     "Content-Disposition"},
        RejectedCase{"attachment", withHeaders("Content-Disposition: attachment; name=k\r\n"),
                     "form-data"},
        RejectedCase{"noName", withHeaders("Content-Disposition: form-data\r\n"), "name"},
        RejectedCase{"emptyName", withHeaders("Content-Disposition: form-data; name=\"\"\r\n"),
                     "name"},
        RejectedCase{"repeatedParameter",
                     withHeaders("Content-Disposition: form-data; name=a; name=b\r\n")},
        RejectedCase{"repeatedDisposition", withHeaders(disposition + disposition)},
        RejectedCase{"bareLf",
                     dashBoundary + "\nContent-Disposition: form-data; name=k\n\nv\n" + closing,
                     "CRLF"},
        RejectedCase{"foldedHeader", withHeaders(disposition + " continued\r\n")},
        RejectedCase{"nulInHeader", withHeaders("Content-Disposition: form-data; name=k\0\r\n"s)},
        RejectedCase{"emptyContentType", withHeaders(disposition + "Content-Type:  \r\n")},
        RejectedCase{"duplicateName", field("key", "a") + field("key", "b") + closing, "\"key\""}),
    [](const auto &info) { return info.param.label; });

struct LimitCase
{
    const char *label;
    MultipartLimits limits;
    std::string body;
    std::string error; // empty when the form fits
};

class MultipartLimitsTest : public testing::TestWithParam<LimitCase>
{};

TEST_P(MultipartLimitsTest, AppliesTheLimitExactly)
{
    const auto result = parseMultipart(contentType, GetParam().body, GetParam().limits);
    EXPECT_EQ(result.form.has_value(), GetParam().error.empty()) << result.error;
    EXPECT_EQ(result.error, GetParam().error);
}

MultipartLimits limits(std::size_t parts, std::size_t header, std::size_t field, std::size_t file)
{
    return {.maxParts = parts,
            .maxPartHeaderBytes = header,
            .maxFieldBytes = field,
            .maxFileBytes = file};
}

const std::string twoFields = field("a", "1") + field("b", "2");

INSTANTIATE_TEST_SUITE_P(
    Boundaries, MultipartLimitsTest,
    testing::Values(
        LimitCase{"partsAtLimit", limits(2, 99, 9, 9), twoFields + closing, ""},
        LimitCase{"partsOverLimit", limits(1, 99, 9, 9), twoFields + closing,
                  "The form has more than 1 parts."},
        LimitCase{"headerAtLimit", limits(2, disposition.size(), 9, 9), withHeaders(disposition),
                  ""},
        LimitCase{"headerOverLimit", limits(2, 43, 9, 9), withHeaders(disposition),
                  "The headers of a form part are longer than 43 bytes."},
        LimitCase{"fieldAtLimit", limits(2, 99, 5, 1), field("k", "12345") + closing, ""},
        LimitCase{"fieldOverLimit", limits(2, 99, 5, 9), field("k", "123456") + closing,
                  "The form field \"k\" is longer than 5 bytes."},
        LimitCase{"fileAtLimit", limits(2, 99, 1, 5), file("f", "x", "gif", "12345") + closing, ""},
        LimitCase{"fileOverLimit", limits(2, 99, 9, 2048),
                  file("f", "x", "gif", std::string(2049, '.')) + closing,
                  "The file in \"f\" is larger than 2 KiB."}),
    [](const auto &info) { return info.param.label; });

} // namespace
