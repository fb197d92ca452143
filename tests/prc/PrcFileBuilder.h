#pragma once
// Builds small PRC files for tests: one file structure whose sections are written value by
// value with the bit writer, compressed, and laid out with their offsets.

#include <zlib.h>

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "prc/PrcBitWriter.h"

namespace Velmora::Test {

class PrcFileBuilder {
public:
    using Section = std::function<void(PrcBitWriter&)>;

    // The common part of an entity without identifiers: type, no attributes, empty name.
    static void Base(PrcBitWriter& w, uint32_t type) {
        w.Unsigned(type);
        w.Unsigned(0);
        w.Name("");
    }
    static void BaseWithIds(PrcBitWriter& w, uint32_t type, bool writeType = true) {
        if (writeType) w.Unsigned(type);
        w.Unsigned(0);
        w.Name("");
        w.Unsigned(0);
        w.Unsigned(0);
        w.Unsigned(0);
    }
    static void NewGraphics(PrcBitWriter& w) {
        w.Bit(0);
        w.Unsigned(0);
        w.Unsigned(0);
        w.Byte(1);
        w.Byte(0);
    }

    Section globals = [](PrcBitWriter& w) {
        w.Unsigned(0);  // schemas
        Base(w, 303);
        w.Unsigned(0);  // referenced file structures
        w.Double(0.0);
        w.Double(0.0);
        w.String("");
        for (int i = 0; i < 9; ++i) w.Unsigned(0);  // fonts .. coordinate systems
        w.NoUserData();
    };
    // One part with one poly brep item on tessellation 0, one occurrence of it.
    Section tree = [](PrcBitWriter& w) {
        Base(w, 304);
        w.Unsigned(1);
        BaseWithIds(w, 311);
        NewGraphics(w);
        for (int i = 0; i < 6; ++i) w.Double(0.0);
        w.Unsigned(1);
        BaseWithIds(w, 237);
        w.Bit(1);       // same graphics
        w.Unsigned(0);  // no coordinate system
        w.Unsigned(1);  // tessellation 0
        w.Bit(1);       // closed
        w.NoUserData();
        for (int i = 0; i < 5; ++i) w.Unsigned(0);  // markups and views
        w.NoUserData();
        w.Unsigned(1);
        BaseWithIds(w, 310);
        w.Bit(1);
        w.Unsigned(1);  // part 0
        w.Unsigned(0);  // no prototype
        w.Unsigned(0);  // no external data
        w.Unsigned(0);  // sons
        w.Byte(0);
        w.Bit(0);
        w.Double(1.0);
        w.Byte(0);
        w.Integer(0);
        w.Bit(0);                                   // no location
        for (int i = 0; i < 6; ++i) w.Unsigned(0);  // references, markups, views
        w.Bit(0);                                   // no filter
        w.Unsigned(0);
        w.Unsigned(0);
        w.NoUserData();
        Base(w, 302);
        w.Unsigned(2);
        w.Unsigned(1);
        w.NoUserData();
    };
    // One triangle with one stored normal.
    Section tessellation = [](PrcBitWriter& w) {
        Base(w, 305);
        w.Unsigned(1);
        w.Unsigned(172);
        w.Bit(0);
        w.Unsigned(9);
        for (double v : {0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0, 0.0}) w.Double(v);
        w.Bit(1);
        w.Bit(0);
        w.Bit(0);
        w.Unsigned(3);
        for (double v : {0.0, 0.0, 1.0}) w.Double(v);
        w.Unsigned(0);
        w.Unsigned(6);
        for (uint32_t v : {0u, 0u, 0u, 3u, 0u, 6u}) w.Unsigned(v);
        w.Unsigned(1);
        w.Unsigned(174);
        w.Unsigned(0);
        w.Unsigned(0);
        w.Unsigned(0);
        w.Unsigned(2);  // triangles
        w.Unsigned(0);
        w.Unsigned(1);
        w.Unsigned(1);
        w.Unsigned(0);
        w.Bit(0);
        w.Unsigned(0);  // texture coordinates
        w.NoUserData();
    };
    Section geometry = [](PrcBitWriter& w) {
        Base(w, 306);
        w.Unsigned(0);
        w.NoUserData();
    };
    Section extraGeometry = [](PrcBitWriter& w) {
        Base(w, 307);
        w.Unsigned(0);
        w.NoUserData();
    };
    Section modelFile = [](PrcBitWriter& w) {
        w.Unsigned(0);
        Base(w, 301);
        w.Bit(0);
        w.Double(1.0);
        w.Unsigned(0);
        w.Unsigned(0);  // file structure 0
        w.NoUserData();
    };
    // Written verbatim in place of a section's zlib stream when set.
    std::vector<uint8_t> rawTessellation;
    uint32_t fileStructureWord3 = 0x50000000;

    std::vector<uint8_t> Build() const {
        std::vector<std::vector<uint8_t>> sections;
        for (const Section* s : {&globals, &tree, &tessellation, &geometry, &extraGeometry})
            sections.push_back(Compress(*s));
        if (!rawTessellation.empty()) sections[2] = rawTessellation;
        const std::vector<uint8_t> model = Compress(modelFile);

        std::vector<uint8_t> out;
        auto header = [&](std::vector<uint8_t>& o) {
            o.insert(o.end(), {'P', 'R', 'C'});
            U32(o, 8137);
            U32(o, 8137);
            for (uint32_t w : {1u, 2u, 3u, fileStructureWord3}) U32(o, w);
            for (int i = 0; i < 4; ++i) U32(o, 0);
        };
        header(out);
        U32(out, 1);
        for (uint32_t w : {1u, 2u, 3u, fileStructureWord3}) U32(out, w);
        U32(out, 0);
        U32(out, 6);
        const size_t offsetsAt = out.size();
        for (int i = 0; i < 6; ++i) U32(out, 0);
        const size_t modelOffsetsAt = out.size();
        U32(out, 0);
        U32(out, 0);
        U32(out, 0);  // no uncompressed files
        // Keep the file above the minimum size with an uncompressed file in the structure.
        std::vector<uint32_t> offsets;
        offsets.push_back(static_cast<uint32_t>(out.size()));
        header(out);
        U32(out, 1);
        const std::vector<uint8_t> padding(300, 0xAA);
        U32(out, static_cast<uint32_t>(padding.size()));
        out.insert(out.end(), padding.begin(), padding.end());
        for (const auto& section : sections) {
            offsets.push_back(static_cast<uint32_t>(out.size()));
            out.insert(out.end(), section.begin(), section.end());
        }
        const uint32_t modelOffset = static_cast<uint32_t>(out.size());
        out.insert(out.end(), model.begin(), model.end());
        const uint32_t endOffset = static_cast<uint32_t>(out.size());
        out.insert(out.end(), 8, 0);  // tail: ReadU32 never reaches the last four bytes
        for (int i = 0; i < 6; ++i) Put(out, offsetsAt + 4 * i, offsets[i]);
        Put(out, modelOffsetsAt, modelOffset);
        Put(out, modelOffsetsAt + 4, endOffset);
        return out;
    }

    static std::vector<uint8_t> Compress(const Section& section) {
        PrcBitWriter w;
        section(w);
        const auto& raw = w.Bytes();
        uLongf size = compressBound(raw.size());
        std::vector<uint8_t> out(size);
        compress(out.data(), &size, raw.data(), raw.size());
        out.resize(size);
        return out;
    }

private:
    static void U32(std::vector<uint8_t>& o, uint32_t v) {
        for (int i = 0; i < 4; ++i) o.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }
    static void Put(std::vector<uint8_t>& o, size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i) o[at + i] = static_cast<uint8_t>(v >> (8 * i));
    }
};

// Parts with items on chosen tessellations, occurrences with parts, sons, prototypes, external
// data and styles, and a model file whose root is one of them.

struct BuiltOccurrence {
    int32_t part = -1;
    int32_t prototype = -1;
    int32_t external = -1;
    bool externalElsewhere = false;  // external data in a file structure of an unknown UUID
    std::vector<uint32_t> sons;
    int32_t style = -1;
};

struct BuiltTree {
    std::vector<std::vector<int32_t>> parts;  // the tessellation of each item, per part
    std::vector<BuiltOccurrence> occurrences;
    int32_t root = 0;
};

inline void WriteGraphics(PrcBitWriter& w, int32_t style) {
    w.Bit(0);
    w.Unsigned(0);
    w.Unsigned(static_cast<uint32_t>(style + 1));
    w.Byte(1);
    w.Byte(0);
}

inline void WriteTree(PrcBitWriter& w, const BuiltTree& tree) {
    PrcFileBuilder::Base(w, 304);
    w.Unsigned(static_cast<uint32_t>(tree.parts.size()));
    for (const auto& items : tree.parts) {
        PrcFileBuilder::BaseWithIds(w, 311);
        PrcFileBuilder::NewGraphics(w);
        for (int i = 0; i < 6; ++i) w.Double(0.0);
        w.Unsigned(static_cast<uint32_t>(items.size()));
        for (const int32_t tess : items) {
            PrcFileBuilder::BaseWithIds(w, 237);
            w.Bit(1);
            w.Unsigned(0);
            w.Unsigned(static_cast<uint32_t>(tess + 1));
            w.Bit(1);
            w.NoUserData();
        }
        for (int i = 0; i < 5; ++i) w.Unsigned(0);
        w.NoUserData();
    }
    w.Unsigned(static_cast<uint32_t>(tree.occurrences.size()));
    for (const BuiltOccurrence& o : tree.occurrences) {
        PrcFileBuilder::BaseWithIds(w, 310);
        WriteGraphics(w, o.style);
        w.Unsigned(static_cast<uint32_t>(o.part + 1));
        w.Unsigned(static_cast<uint32_t>(o.prototype + 1));
        if (o.prototype != -1) w.Bit(1);
        w.Unsigned(static_cast<uint32_t>(o.external + 1));
        if (o.external != -1) {
            w.Bit(o.externalElsewhere ? 0 : 1);
            if (o.externalElsewhere)
                for (uint32_t word : {9u, 9u, 9u, 9u}) w.Unsigned(word);
        }
        w.Unsigned(static_cast<uint32_t>(o.sons.size()));
        for (const uint32_t son : o.sons) w.Unsigned(son);
        w.Byte(0);
        w.Bit(0);
        w.Double(1.0);
        w.Byte(0);
        w.Integer(0);
        w.Bit(0);
        for (int i = 0; i < 6; ++i) w.Unsigned(0);
        w.Bit(0);
        w.Unsigned(0);
        w.Unsigned(0);
        w.NoUserData();
    }
    PrcFileBuilder::Base(w, 302);
    w.Unsigned(static_cast<uint32_t>(tree.occurrences.size() + 1));
    w.Unsigned(static_cast<uint32_t>(tree.root + 1));
    w.NoUserData();
}

// A model file whose root is occurrence `root` of the builder's file structure.
inline PrcFileBuilder::Section RootModelFile(uint32_t word3, int32_t root) {
    return [word3, root](PrcBitWriter& w) {
        w.Unsigned(0);
        PrcFileBuilder::Base(w, 301);
        w.Bit(0);
        w.Double(1.0);
        w.Unsigned(1);
        for (uint32_t word : {1u, 2u, 3u, word3}) w.Unsigned(word);
        w.Unsigned(static_cast<uint32_t>(root + 1));
        w.Bit(1);
        w.Unsigned(0);
        w.NoUserData();
    };
}

// A file of one file structure with the builder's one-triangle tessellation 0 and this tree,
// its model file naming the tree's root.
inline std::vector<uint8_t> BuildTreeFile(const BuiltTree& tree) {
    PrcFileBuilder builder;
    builder.tree = [tree](PrcBitWriter& w) { WriteTree(w, tree); };
    builder.modelFile = RootModelFile(builder.fileStructureWord3, tree.root);
    return builder.Build();
}

}  // namespace Velmora::Test
