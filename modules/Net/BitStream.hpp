#pragma once
// Bit-level writing and reading of network packets.
//
//     BitWriter out;
//     out.Write(5, 3);              // the value 5 in 3 bits
//     out.WriteUnsigned(1234);      // small values in few bits (see WriteUnsigned)
//     BitReader in(out.Bytes().data(), out.Bytes().size());
//     uint64_t a = in.Read(3), b = in.ReadUnsigned();
//     if (!in.Ok()) refuse the packet;
//
// A packet comes from the network, so the reader trusts nothing: a read past the end gives 0 and marks the
// reader failed, and every later read gives 0 too. Callers check Ok() once at the end (and wherever a value
// decides how much more to read) instead of after every field. Bits are packed from the lowest bit of each
// byte up, so a packet is a plain byte string with no alignment to keep.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace net {

class BitWriter {
public:
    // The low `bits` bits of `value` (bits <= 64).
    void Write(uint64_t value, unsigned bits) {
        for (unsigned done = 0; done < bits;) {
            if (_bit == 0)
                _bytes.push_back(0);
            const unsigned room = 8 - _bit;
            const unsigned take = bits - done < room ? bits - done : room;
            const uint64_t part = (value >> done) & ((uint64_t(1) << take) - 1);
            _bytes.back() = static_cast<uint8_t>(_bytes.back() | (part << _bit));
            _bit = (_bit + take) & 7;
            done += take;
        }
    }
    void WriteBool(bool value) { Write(value ? 1 : 0, 1); }
    // Values that are mostly small: 4 bits below 8, 10 below 256, 19 below 65,536, 36 below 2^32, 68
    // beyond.
    void WriteUnsigned(uint64_t value) {
        static constexpr unsigned widths[] = {3, 8, 16, 32, 64};
        unsigned tier = 0;
        while (tier < 4 && value >= (uint64_t(1) << widths[tier]))
            ++tier;
        Write((uint64_t(1) << tier) - 1, tier < 4 ? tier + 1 : 4); // tier in unary, ended by a 0 below 4
        Write(value, widths[tier]);
    }
    // Signed values near zero, zig-zagged so that -1 is as cheap as 1.
    void WriteSigned(int64_t value) {
        WriteUnsigned((static_cast<uint64_t>(value) << 1) ^ static_cast<uint64_t>(value >> 63));
    }

    const std::vector<uint8_t>& Bytes() const { return _bytes; }
    size_t BitCount() const { return _bytes.size() * 8 - (_bit ? 8 - _bit : 0); }
    void Clear() {
        _bytes.clear();
        _bit = 0;
    }

private:
    std::vector<uint8_t> _bytes;
    unsigned _bit = 0; // next free bit of the last byte; 0: the last byte is full (or there is none)
};

class BitReader {
public:
    BitReader(const uint8_t* data, size_t size) : _data(data), _bits(size * 8) {}

    uint64_t Read(unsigned bits) {
        if (!_ok || bits > 64 || _bits - _position < bits) {
            _ok = false;
            return 0;
        }
        uint64_t value = 0;
        for (unsigned done = 0; done < bits;) {
            const unsigned bit = _position & 7;
            const unsigned take = bits - done < 8 - bit ? bits - done : 8 - bit;
            const uint64_t part = (uint64_t(_data[_position >> 3]) >> bit) & ((uint64_t(1) << take) - 1);
            value |= part << done;
            _position += take;
            done += take;
        }
        return value;
    }
    bool ReadBool() { return Read(1) != 0; }
    uint64_t ReadUnsigned() {
        static constexpr unsigned widths[] = {3, 8, 16, 32, 64};
        unsigned tier = 0;
        while (tier < 4 && ReadBool())
            ++tier;
        return Read(widths[tier]);
    }
    int64_t ReadSigned() {
        const uint64_t zigzag = ReadUnsigned();
        return static_cast<int64_t>(zigzag >> 1) ^ -static_cast<int64_t>(zigzag & 1);
    }

    bool Ok() const { return _ok; }
    // Bits not read yet.
    size_t Remaining() const { return _bits - _position; }

private:
    const uint8_t* _data;
    size_t _bits;
    size_t _position = 0;
    bool _ok = true;
};

} // namespace net
