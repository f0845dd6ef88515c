#include "cipher_test_util.h"

#include <fstream>
#include <sstream>

namespace ciphertest {

namespace {

WString Wide(const std::string& text) { return WString(text.begin(), text.end()); }

ByteArray HexField(const std::string& field) { return field == "-" ? ByteArray() : Hex(field); }

}  // namespace

std::vector<KnownAnswer> ReadKnownAnswers(const std::string& file, const std::string& kind) {
  std::ifstream in(Fixture("ciphers/" + file));
  std::vector<KnownAnswer> answers;
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string lineKind, algorithm, mode, key, iv, input, output;
    KnownAnswer answer;
    if (!(fields >> lineKind) || lineKind != kind) continue;
    fields >> answer.name >> algorithm;
    if (kind == "cipher") fields >> mode;
    fields >> key;
    if (kind == "cipher") fields >> iv;
    if (!(fields >> input >> output)) {
      ADD_FAILURE() << file << ": not understood: " << line;
      continue;
    }
    answer.algorithm = Wide(algorithm);
    answer.mode = Wide(mode);
    answer.key = Hex(key);
    answer.hasIV = !iv.empty() && iv != "-";
    answer.iv = HexField(iv);
    answer.input = HexField(input);
    answer.output = HexField(output);
    answers.push_back(answer);
  }
  if (answers.empty()) ADD_FAILURE() << "no " << kind << " lines in " << file;
  return answers;
}

std::unique_ptr<ICryptoParserParameterMap> BlockMap(const WString& mode, const WString& padding, const ByteArray* iv) {
  std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetCipherMode(mode);
  if (!padding.empty()) map->SetPadding(padding);
  if (iv != nullptr) map->SetIV(*iv);
  return map;
}

ByteArray Transform(const WString& algorithm, unsigned int mode, const ByteArray& key, const ByteArray& input,
                    const WString& chaining, const WString& padding, const ByteArray* iv) {
  const auto map = BlockMap(chaining, padding, iv);
  const auto cipher = NewCipher(algorithm, map.get());
  const auto secret = RawKey(key, algorithm);
  return Once(*cipher, mode, secret.get(), input);
}

ByteArray Bytes(std::size_t count, unsigned pattern) {
  ByteArray bytes(count);
  unsigned state = pattern * 2654435761u + 1;
  for (auto& b : bytes) {
    state = state * 1103515245u + 12345u;
    b = static_cast<unsigned char>(state >> 16);
  }
  return bytes;
}

}  // namespace ciphertest
