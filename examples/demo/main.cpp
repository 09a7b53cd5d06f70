// Codes a picture into real files with every sample codec and back, has each file checked by an independent decoder,
// and writes a page that shows the results.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "measure.h"
#include "page.h"
#include "progress.h"
#include "qlmjp.h"

namespace {

void printTable(const std::vector<demo::Result>& results) {
  std::printf("%-22s %9s %6s | %7s %7s %5s | %7s %7s %5s | %7s %7s %5s\n", "", "", "bits a", "PSNR", "by", "max",
              "encode", "", "", "decode", "", "");
  std::printf("%-22s %9s %6s | %7s %7s %5s | %7s %7s %5s | %7s %7s %5s\n", "file", "bytes", "pixel", "dB", "peer",
              "diff", "Mpix/s", "peer", "ratio", "Mpix/s", "peer", "ratio");
  for (const demo::Result& r : results) {
    std::printf("%-22s %9zu %6.2f | %7.3f %7.3f %5d", r.codec->file.c_str(), r.file.size(), r.bitsPerPixel, r.psnr,
                r.peerPsnr, r.maxDifference);
    for (const demo::Speed& speed : {r.encode, r.decode})
      if (speed.peer > 0)
        std::printf(" | %7.1f %7.1f %5.2f", speed.ours, speed.peer, speed.ratio());
      else
        std::printf(" | %7.1f %7s %5s", speed.ours, "-", "-");
    std::printf("\n");
  }
}

void writeExhibit(const std::string& file, const demo::Exhibit& exhibit) {
  if (exhibit.drawing.empty()) return sample::writePicture(file, exhibit.picture);
  std::ofstream out(file, std::ios::binary);
  out << exhibit.drawing << "\n";
  if (!out.flush()) throw std::runtime_error(file + ": cannot be written");
}

int run(const std::string& source, const std::string& folder) {
  const bool painted = source.empty();
  sample::Picture picture = painted ? sample::paintPicture(1280, 960) : sample::readPicture(source);
  const std::string name = painted ? "Painted picture" : std::filesystem::path(source).filename().string();
  const sample::Picture grey = picture.channels == 1 ? picture : sample::toGrey(picture);
  std::cout << qlmjGetLibVersion()->name << ", version " << qlmjGetLibVersion()->version << "\n"
            << name << ", " << picture.width << " x " << picture.height << " pixels, into " << folder << "\n";
  std::filesystem::create_directories(folder);
  sample::writePicture(folder + "/original.png", picture);

  std::vector<demo::Codec> codecs = demo::allCodecs();
  if (picture.channels == 1) std::erase_if(codecs, [](const demo::Codec& codec) { return codec.channels != 1; });
  std::vector<demo::Result> results;
  std::vector<demo::Section> sections;
  {
    demo::Progress progress(codecs.size() + 4);
    for (const demo::Codec& codec : codecs) {
      progress.step(codec.family + ", " + codec.setting);
      results.push_back(demo::measure(codec, codec.channels == 1 ? grey : picture, folder));
    }
    progress.step("smaller sizes");
    sections.push_back(demo::reducedSizes(picture));
    progress.step("bands of wavelets");
    sections.push_back(demo::waveletBands(picture));
    progress.step("rates of JPEG 2000");
    sections.push_back(demo::jpeg2000Rates(picture));
    for (const demo::Section& section : sections)
      for (const demo::Exhibit& exhibit : section.exhibits) writeExhibit(folder + "/" + exhibit.file, exhibit);
    progress.step("page");
    std::ofstream out(folder + "/index.html", std::ios::binary);
    out << demo::page(name, picture, results, sections);
    if (!out.flush()) throw std::runtime_error(folder + "/index.html: cannot be written");
  }
  printTable(results);

  int failures = 0;
  for (const demo::Result& r : results) {
    if (r.failure.empty()) continue;
    std::cerr << "FAILED: " << r.codec->file << ": " << r.failure << "\n";
    ++failures;
  }
  const int failedFiles = failures;
  for (const demo::Section& section : sections)
    for (const demo::Exhibit& exhibit : section.exhibits) {
      std::cout << exhibit.file << ": " << exhibit.caption << "\n";
      if (exhibit.failure.empty()) continue;
      std::cerr << "FAILED: " << exhibit.file << ": " << exhibit.failure << "\n";
      ++failures;
    }
  std::cout
      << results.size() - static_cast<size_t>(failedFiles) << " of " << results.size()
      << " files stand the check with the independent decoder: it reads them, and its PSNR is within the bound of "
      << codecs.front().tolerance << " dB.\nPage: " << folder << "/index.html\n";
  return failures ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app{
      "Codes a picture with every sample codec and back, checks each file with an independent decoder, and "
      "writes a page of the results."};
  std::string picture, folder = "out";
  app.add_option("picture", picture, "PNG, PPM or PGM file; without one a picture is painted")
      ->check(CLI::ExistingFile);
  app.add_option("--out", folder, "folder for the files and the page")->capture_default_str()->take_last();
  CLI11_PARSE(app, argc, argv);
  return run(picture, folder);
} catch (const std::exception& error) {
  std::fprintf(stderr, "demo: %s\n", error.what());
  return 1;
}
