#include "vesmo/filesystem/Stream.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

using namespace vesmo::filesystem;
using testing_support::TempDir;

using testing_support::ThrownMessage;

TEST(Stream, MemoryRoundTripOfRawStringsAndNestedStreams) {
    WriteOnlyStream inner(0);
    inner.WriteValue<uint32_t>(0xdeadbeef);
    inner.Write(std::string("inner text"));

    WriteOnlyStream out(0);
    out.WriteValue<double>(3.25);
    out.Write(std::string(""));
    out.Write(std::string("with\0zero", 9));
    out.Write(inner);
    out.WriteValue<uint8_t>(7);

    ReadOnlyStream in(out.Buffer());
    EXPECT_EQ(in.ReadValue<double>(), 3.25);
    std::string text = "stale";
    in.Read(text);
    EXPECT_EQ(text, "");
    in.Read(text);
    EXPECT_EQ(text, std::string("with\0zero", 9));
    ReadOnlyStream nested = in.ReadStream();
    EXPECT_EQ(in.ReadValue<uint8_t>(), 7);
    EXPECT_TRUE(in.AtEnd());

    EXPECT_EQ(nested.ReadValue<uint32_t>(), 0xdeadbeefu);
    nested.Read(text);
    EXPECT_EQ(text, "inner text");
    EXPECT_TRUE(nested.AtEnd());
}

TEST(Stream, FramingIsALittleEndianCountThenTheBytes) {
    WriteOnlyStream out;
    out.Write(std::string("ab"));
    const std::vector<unsigned char> expected = {2, 0, 0, 0, 0, 0, 0, 0, 'a', 'b'};
    EXPECT_EQ(out.Buffer(), expected);
}

TEST(Stream, ReadingPastTheEndThrowsAndNamesTheStream) {
    WriteOnlyStream out;
    out.WriteValue<uint16_t>(1);
    ReadOnlyStream in(out.Buffer(), "thing.bin");
    unsigned char bytes[4];
    EXPECT_NE(ThrownMessage<std::runtime_error>([&] { in.Read(bytes, 4); }).find("thing.bin"), std::string::npos);
    EXPECT_EQ(in.Position(), 0u); // a refused read takes nothing
    EXPECT_EQ(in.ReadValue<uint16_t>(), 1);

    // A framed count larger than what is left is refused before anything is allocated.
    WriteOnlyStream lying;
    lying.WriteValue<uint64_t>(1ull << 60);
    ReadOnlyStream liar(lying.Buffer());
    std::string text;
    EXPECT_THROW(liar.Read(text), std::runtime_error);
    ReadOnlyStream liar2(lying.Buffer());
    EXPECT_THROW(liar2.ReadStream(), std::runtime_error);
}

TEST(Stream, DirectionsAreEnforced) {
    WriteOnlyStream out;
    unsigned char byte = 0;
    EXPECT_THROW(out.Read(&byte, 1), std::runtime_error);
    ReadOnlyStream in;
    EXPECT_THROW(in.Write(&byte, 1), std::runtime_error);
    EXPECT_THROW(in.Read(&byte, 1), std::runtime_error); // empty
}

TEST(BinaryFileStream, FileRoundTripAcrossTheBuffer) {
    TempDir dir;
    const std::string path = dir.File("entity.bin");
    std::vector<unsigned char> big(5000);
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<unsigned char>(i * 7);
    WriteOnlyStream payload;
    payload.Write(big.data(), big.size());
    {
        BinaryFileStream file(path, 1024, false);
        file.Write(reinterpret_cast<const unsigned char*>("ORKALIN!"), 8);
        file.WriteValue<uint32_t>(1);
        file.Write(std::string("crate"));
        file.Write(payload); // larger than the buffer
        for (int i = 0; i < 300; ++i)
            file.WriteValue<uint16_t>(static_cast<uint16_t>(i)); // many small writes through the buffer
        file.Flush();
    }
    EXPECT_EQ(std::filesystem::file_size(path), 8 + 4 + 8 + 5 + 8 + 5000 + 600u);

    BinaryFileStream file(path, 1024, false);
    unsigned char magic[8];
    file.Read(magic, 8);
    EXPECT_EQ(std::memcmp(magic, "ORKALIN!", 8), 0);
    EXPECT_EQ(file.ReadValue<uint32_t>(), 1u);
    std::string type;
    file.Read(type);
    EXPECT_EQ(type, "crate");
    ReadOnlyStream back = file.ReadStream();
    EXPECT_EQ(back.Buffer(), big);
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(file.ReadValue<uint16_t>(), i);
    const std::string message = ThrownMessage<std::runtime_error>([&] { file.ReadValue<uint8_t>(); });
    EXPECT_NE(message.find(path), std::string::npos) << message;
}

TEST(BinaryFileStream, MissingFileIsReportedWithItsPath) {
    TempDir dir;
    BinaryFileStream file(dir.File("absent.bin"));
    const std::string message = ThrownMessage<std::runtime_error>([&] { file.ReadValue<uint32_t>(); });
    EXPECT_NE(message.find("absent.bin"), std::string::npos);
    EXPECT_NE(message.find("No such file"), std::string::npos);
}

TEST(BinaryFileStream, NothingAppearsUntilTheStreamIsClosed) {
    TempDir dir;
    const std::string path = dir.File("state.bin");
    testing_support::WriteText(path, "old");
    {
        BinaryFileStream file(path);
        file.Write(std::string("new content"));
        file.Flush();
        EXPECT_EQ(testing_support::ReadText(path), "old"); // flushed to the temporary, not in place yet
    }
    EXPECT_NE(testing_support::ReadText(path), "old");
    // Only the file itself is left in the folder: no temporaries.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 1);
}

TEST(BinaryFileStream, AnExceptionWhileWritingKeepsTheOldFile) {
    TempDir dir;
    const std::string path = dir.File("state.bin");
    testing_support::WriteText(path, "old");
    try {
        BinaryFileStream file(path);
        file.Write(std::string("half of a record"));
        throw std::runtime_error("module failed mid-save");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(testing_support::ReadText(path), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 1);
}
