#include <gtest/gtest.h>

#include <string>

#include "tests/verify/verify_test_util.h"
#include "tools/report_writers.h"
#include "tools/sha256.h"

namespace alad_tool {
namespace {

TEST(Sha256Test, KnownDigestsAcrossBlockBoundariesAndChunkings) {
    const struct {
        std::string text;
        const char* digest;
    } cases[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        // Lengths around the padding's edges: 55 bytes still take one block, 56 need two.
        {std::string(55, 'a'), "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
        {std::string(56, 'a'), "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a"},
        {std::string(63, 'a'), "7d3e74a05d7db15bce4ad9ec0658ea98e3f06eeecf16b4c6fff2da457ddc2f34"},
        {std::string(64, 'a'), "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
        {std::string(65, 'a'), "635361c48bb9eab14198e76ea8ab7f1a41685d6ad62aa9146d301d4f17eb0ae0"},
        {std::string(119, 'a'), "31eba51c313a5c08226adf18d4a359cfdfd8d2e816b13f4af952f7ea6584dcfb"},
        {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    alad_test::ScratchDir dir;
    for (const auto& c : cases) {
        for (size_t chunk : {size_t{1}, size_t{7}, size_t{64}, c.text.size() + 1}) {
            if (chunk == 1 && c.text.size() > 1000) continue;
            Sha256 sha;
            for (size_t i = 0; i < c.text.size(); i += chunk) sha.Update(std::string_view(c.text).substr(i, chunk));
            EXPECT_EQ(sha.HexDigest(), c.digest) << c.text.size() << " bytes in chunks of " << chunk;
        }
        std::string digest;
        ASSERT_TRUE(Sha256OfFile(alad_test::WriteText(dir / "f", c.text), &digest));
        EXPECT_EQ(digest, c.digest);
    }
    std::string digest = "unchanged";
    EXPECT_FALSE(Sha256OfFile(dir / "missing", &digest));
    EXPECT_EQ(digest, "unchanged");
}

TEST(ReportWritersTest, JsonAndXmlQuoteAnyBytes) {
    EXPECT_EQ(JsonQuoted("plain/path.txt"), "\"plain/path.txt\"");
    EXPECT_EQ(JsonQuoted("a\"b\\c\nd\te\x01\x7f"), "\"a\\\"b\\\\c\\nd\\te\\u0001\\u007f\"");
    // Valid UTF-8 passes; a stray byte, an overlong form and a surrogate do not.
    EXPECT_EQ(JsonQuoted("caf\xC3\xA9 \xE2\x82\xAC"), "\"caf\xC3\xA9 \xE2\x82\xAC\"");
    EXPECT_EQ(JsonQuoted("\xFF|\xC0\xAF|\xED\xA0\x80|\xE2\x82"),
              "\"\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD\"");
    EXPECT_EQ(XmlEscaped("<a href=\"x\">&'</a>\n\x02\xFF"),
              "&lt;a href=&quot;x&quot;&gt;&amp;&apos;&lt;/a&gt;&#10;\xEF\xBF\xBD\xEF\xBF\xBD");

}

}  // namespace
}  // namespace alad_tool
