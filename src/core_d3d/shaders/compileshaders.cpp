// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// compileshaders FOLDER OUTPUT: compiles the two shaders of FOLDER into the header OUTPUT. A
// Windows program; it needs d3dcompiler_47.dll, which Windows has and Wine has its own of.

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include <windows.h>

#include <d3dcompiler.h>

namespace {

struct Shader
{
    const char *file;
    const char *profile;
    const char *entry;
    const char *name;
};

constexpr Shader kShaders[] = {
    {"nv12vertex.hlsl", "vs_5_0", "main_VS", "kNv12VertexShader"},
    {"nv12pixel.hlsl", "ps_5_0", "main_PS", "kNv12PixelShader"},
};
constexpr size_t kBytesPerLine = 15;

std::string textOf(ID3DBlob *blob)
{
    return blob ? std::string(static_cast<const char *>(blob->GetBufferPointer()),
                              blob->GetBufferSize())
                : std::string();
}

// FNV-1a: tells whether the byte code belongs to the source that lies beside it.
std::string checksum(const std::string &text)
{
    uint64_t sum = 14695981039346656037u;
    for (const char byte : text)
        sum = (sum ^ static_cast<unsigned char>(byte)) * 1099511628211u;
    char digits[17];
    std::snprintf(digits, sizeof(digits), "%016llx", static_cast<unsigned long long>(sum));
    return digits;
}

// Whose compiler it is: another one may make other byte code of the same source.
std::string compilerName()
{
    using GetVersion = const char *(*)();
    const auto getVersion = reinterpret_cast<GetVersion>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(L"ntdll"), "wine_get_version")));
    return getVersion ? std::string("Wine ") + getVersion() : std::string("Windows");
}

bool readSource(const std::string &folder, const Shader &shader, std::string *source)
{
    const std::string path = folder + "/" + shader.file;
    std::ifstream file(path, std::ios::binary);
    source->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    if (source->empty())
        std::fprintf(stderr, "compileshaders: cannot read %s\n", path.c_str());
    return !source->empty();
}

// Appends the byte code as an array; false after a message.
bool appendShader(const std::string &folder, const Shader &shader, std::string *header)
{
    std::string source;
    if (!readSource(folder, shader, &source))
        return false;
    ID3DBlob *code = nullptr;
    ID3DBlob *messages = nullptr;
    const HRESULT result =
        D3DCompile(source.data(), source.size(), shader.file, nullptr, nullptr, shader.entry,
                   shader.profile, D3DCOMPILE_OPTIMIZATION_LEVEL3, 0, &code, &messages);
    if (FAILED(result) || !code) {
        std::fprintf(stderr, "compileshaders: %s: 0x%08lx %s\n", shader.file,
                     static_cast<unsigned long>(result), textOf(messages).c_str());
        return false;
    }
    const std::string bytes = textOf(code);
    *header += "\n// Source: " + std::string(shader.file) + " " + checksum(source) +
               "\ninline constexpr unsigned char " + shader.name + "[] = {";
    for (size_t i = 0; i < bytes.size(); ++i) {
        char text[8];
        std::snprintf(text, sizeof(text), "0x%02x,", static_cast<unsigned char>(bytes[i]));
        *header += (i % kBytesPerLine ? " " : "\n    ") + std::string(text);
    }
    *header += "\n};\n";
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: compileshaders FOLDER OUTPUT\n");
        return 2;
    }
    std::string header =
        "// SPDX-FileCopyrightText: 2026 The Vantra authors\n"
        "// SPDX-License-Identifier: MIT\n"
        "//\n"
        "// Byte code of the shaders beside it. Made by compileshaders.cpp; do not edit.\n"
        "// Compiler: " +
        compilerName() +
        "\n"
        "// clang-format off\n"
        "#pragma once\n";
    for (const Shader &shader : kShaders)
        if (!appendShader(argv[1], shader, &header))
            return 1;
    std::ofstream output(argv[2], std::ios::binary);
    output << header;
    output.close();
    if (!output) {
        std::fprintf(stderr, "compileshaders: cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}
