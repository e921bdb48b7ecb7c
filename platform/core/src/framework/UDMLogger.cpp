#include <vqkudmrt/UDMLogger.h>

#include <algorithm>
#include <atomic>
#include <string_view>

#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <vqnames/UDMNames.h>

namespace vqkudm {

struct UDMLogger::Impl {
  std::shared_ptr<spdlog::logger> logger;
  vqString filePath;
  bool toFile = false;
  std::atomic<int> threshold{LevelWarning};
};

namespace {

int ClampLevel(int level) { return std::clamp(level, int(UDMLogger::LevelPerformance), int(UDMLogger::LevelFatal)); }

spdlog::level::level_enum ToSpdlog(int level) {
  switch (ClampLevel(level)) {
    case UDMLogger::LevelPerformance: return spdlog::level::trace;
    case UDMLogger::LevelDebug: return spdlog::level::debug;
    case UDMLogger::LevelInfo: return spdlog::level::info;
    case UDMLogger::LevelWarning: return spdlog::level::warn;
    case UDMLogger::LevelError: return spdlog::level::err;
    default: return spdlog::level::critical;
  }
}

}  // namespace

UDMLogger::UDMLogger(const vqString& filePath, int threshold) : m_impl(new Impl) {
  spdlog::sink_ptr sink;
  if (!filePath.empty()) {
    try {
      sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(filePath, false);
      m_impl->toFile = true;
      m_impl->filePath = filePath;
    } catch (const spdlog::spdlog_ex&) {
      // reported below, once the fallback sink exists
    }
  }
  if (!sink) sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
  // Not registered with spdlog's global registry: the runtime's logger must
  // not collide with an application's own use of spdlog.
  m_impl->logger = std::make_shared<spdlog::logger>("udmrt", sink);
  m_impl->logger->set_pattern("%Y-%m-%dT%H:%M:%S.%e %v");
  m_impl->logger->set_level(spdlog::level::trace);
  m_impl->logger->flush_on(spdlog::level::err);
  SetThreshold(threshold);
  if (!filePath.empty() && !m_impl->toFile) {
    LogMessage("cannot open log file " + filePath + "; logging to standard error", LevelError);
  }
}

UDMLogger::~UDMLogger() { Flush(); }

bool UDMLogger::IsLoggedToFile() const { return m_impl->toFile; }

const vqString& UDMLogger::GetFilePath() const { return m_impl->filePath; }

int UDMLogger::GetThreshold() const { return m_impl->threshold; }

void UDMLogger::SetThreshold(int threshold) { m_impl->threshold = ClampLevel(threshold); }

void UDMLogger::LogMessage(const vqString& text, int level) {
  const int clamped = ClampLevel(level);
  if (clamped < m_impl->threshold) return;
  try {
    m_impl->logger->log(ToSpdlog(clamped), "{} {}", std::string_view(kLogMessageLevels[clamped]), std::string_view(text));
  } catch (...) {
    // Logging must never turn a working operation into a failing one.
  }
}

void UDMLogger::Flush() {
  try {
    m_impl->logger->flush();
  } catch (...) {
  }
}

}  // namespace vqkudm
