#include "shared/files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "shared/error.h"

namespace host {

namespace {

int data_descriptor =
    STDOUT_FILENO;  ///< standard output of the caller, also when what is printed goes to standard error

/// The file behind a name, with symbolic links followed even where they lead nowhere yet.
std::filesystem::path target_of(const std::string& name) {
    std::filesystem::path path = name;
    std::error_code error;
    for (int i = 0; i < 40 && std::filesystem::is_symlink(path, error); ++i) {
        const std::filesystem::path link = std::filesystem::read_symlink(path, error);
        if (error) break;
        path = link.is_absolute() ? link : path.parent_path() / link;
    }
    return path;
}

std::filesystem::path folder_of(const std::filesystem::path& file) {
    return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

/// Number of the open file that a name such as /dev/fd/3 stands for; -1 for other names.
int descriptor_of(const std::string& name) {
    if (name == "-" || name == "/dev/stdout") return STDOUT_FILENO;
    if (name == "/dev/stderr") return STDERR_FILENO;
    for (const char* head : {"/dev/fd/", "/proc/self/fd/"}) {
        const std::size_t size = std::strlen(head);
        if (name.compare(0, size, head) != 0 || name.size() == size || name.size() > size + 6) continue;
        if (name.find_first_not_of("0123456789", size) == std::string::npos) return std::atoi(name.c_str() + size);
    }
    return -1;
}

/// The folder in which a file can be made: the nearest one that exists.
std::filesystem::path existing_folder(std::filesystem::path folder) {
    std::error_code error;
    for (int i = 0; i < PATH_MAX && !std::filesystem::exists(folder, error); ++i) folder = folder_of(folder);
    return folder;
}

/// Why a file can't be written, as an error number; 0 where it can.
int fault_of(const std::string& name) {
    const int descriptor = descriptor_of(name);
    if (descriptor >= 0) {
        const int flags = fcntl(descriptor, F_GETFL);
        if (flags < 0) return errno;
        return (flags & O_ACCMODE) == O_RDONLY ? EBADF : 0;
    }
    const std::filesystem::path place = target_of(name);
    struct stat info {};
    if (stat(place.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) return EISDIR;
        if (access(place.c_str(), W_OK) != 0) return errno;
        if (!S_ISREG(info.st_mode)) return 0;
    } else if (errno != ENOENT) {
        return errno;
    }
    const std::filesystem::path folder = existing_folder(folder_of(place));
    if (stat(folder.c_str(), &info) != 0) return errno;
    if (!S_ISDIR(info.st_mode)) return ENOTDIR;
    return access(folder.c_str(), W_OK | X_OK) != 0 ? errno : 0;
}

[[noreturn]] void refuse(const std::string& name, int reason) {
    throw InputError(name + ": cannot be written: " + std::strerror(reason));
}

/// What stands behind a name: the device and number of a file that exists, and the name it has in the end.
struct Identity {
    bool exists = false, shared = false;  ///< shared: a device that many may write, such as /dev/null
    struct stat info {};
    std::string path;
};

Identity identity_of(const std::string& name, bool input) {
    Identity id;
    const int descriptor = input && name == "-" ? STDIN_FILENO : descriptor_of(name);
    id.exists = (descriptor >= 0 ? fstat(descriptor, &id.info) : stat(name.c_str(), &id.info)) == 0;
    id.shared = id.exists && S_ISCHR(id.info.st_mode);
    std::error_code error;
    if (descriptor < 0)
        id.path = std::filesystem::weakly_canonical(std::filesystem::absolute(target_of(name)), error).string();
    return id;
}

bool same(const Identity& a, const Identity& b) {
    if (a.exists && b.exists) return a.info.st_dev == b.info.st_dev && a.info.st_ino == b.info.st_ino;
    return !a.path.empty() && a.path == b.path;
}

extern "C" void end_by_signal(int number) {
    OutputFile::remove_unfinished();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

void watch_signals() {
    static bool watched = false;
    if (std::exchange(watched, true)) return;
    for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGPIPE}) {
        if (std::signal(number, end_by_signal) == SIG_IGN) std::signal(number, SIG_IGN);
    }
    std::signal(SIGXFSZ, SIG_IGN);  // the write fails with a reason instead
}

}  // namespace

std::string csv_text(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + '"';
}

bool is_standard_output(const std::string& name) { return descriptor_of(name) == STDOUT_FILENO; }

// --- a file being written ----------------------------------------------------------------------------------------

OutputFile* OutputFile::first_ = nullptr;

OutputFile::OutputFile(const std::string& name) : name_(name) {
    watch_signals();
    if (const int reason = fault_of(name); reason != 0) refuse(name, reason);
    const int descriptor = descriptor_of(name);
    const std::filesystem::path place = descriptor >= 0 ? std::filesystem::path() : target_of(name);
    std::error_code error;
    if (descriptor >= 0) {
        std::fflush(nullptr);
        sink_.descriptor = dup(descriptor == STDOUT_FILENO ? data_descriptor : descriptor);
        if (sink_.descriptor < 0) refuse(name_, errno);
    } else if (std::filesystem::exists(place, error) && !std::filesystem::is_regular_file(place, error)) {
        sink_.descriptor = open(place.c_str(), O_WRONLY | O_CLOEXEC);
        if (sink_.descriptor < 0) refuse(name_, errno);
    } else {
        place_ = place.string();
        open_beside();
    }
    cookie_io_functions_t functions{};
    functions.write = &OutputFile::write;
    stream_ = fopencookie(&sink_, "w", functions);
    if (stream_ == nullptr) refuse(name_, errno);
    std::setvbuf(stream_, nullptr, _IOFBF, 1U << 16U);
    next_ = first_;
    first_ = this;
}

void OutputFile::open_beside() {
    const std::filesystem::path folder = folder_of(place_);
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    static int count = 0;
    unfinished_ = (folder / (".leopod-" + std::to_string(getpid()) + "-" + std::to_string(++count) + ".tmp")).string();
    struct stat old {};
    const bool exists = stat(place_.c_str(), &old) == 0;
    sink_.descriptor = open(unfinished_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (sink_.descriptor < 0) refuse(name_, error ? error.value() : errno);
    if (exists) static_cast<void>(fchmod(sink_.descriptor, old.st_mode & 07777));
}

ssize_t OutputFile::write(void* sink, const char* data, std::size_t size) {
    Sink& to = *static_cast<Sink*>(sink);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::write(to.descriptor, data + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (to.error == 0) to.error = n < 0 ? errno : EIO;
            return 0;
        }
        done += static_cast<std::size_t>(n);
    }
    return static_cast<ssize_t>(done);
}

OutputFile::~OutputFile() {
    OutputFile** link = &first_;
    while (*link != this && *link != nullptr) link = &(*link)->next_;
    if (*link == this) *link = next_;
    if (stream_ != nullptr) std::fclose(stream_);
    if (sink_.descriptor >= 0) ::close(sink_.descriptor);
    if (!unfinished_.empty()) unlink(unfinished_.c_str());
}

void OutputFile::close() {
    const bool bad = std::fclose(std::exchange(stream_, nullptr)) != 0;
    if (sink_.error != 0 || bad) fail("could not be written to its end", sink_.error != 0 ? sink_.error : EIO);
    if (::close(std::exchange(sink_.descriptor, -1)) != 0) fail("could not be written to its end", errno);
    if (place_.empty()) return;
    if (std::rename(unfinished_.c_str(), place_.c_str()) != 0) fail("could not be put into its place", errno);
    unfinished_.clear();
}

void OutputFile::fail(const std::string& what, int reason) const {
    throw InputError(name_ + ": " + what + ": " + std::strerror(reason));
}

void OutputFile::remove_unfinished() {
    for (const OutputFile* file = first_; file != nullptr; file = file->next_) {
        if (!file->unfinished_.empty()) unlink(file->unfinished_.c_str());
    }
}

void write_by_name(const std::string& name, const std::function<bool(const std::string& file)>& write) {
    OutputFile out(name);
    const int memory = memfd_create("leopod", 0);
    if (memory < 0) refuse(name, errno);
    bool written = false;
    std::string fault = "cannot be written";
    try {
        written = write("/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(memory));
    } catch (const InputError& e) {
        fault = e.what();
    }
    char block[1U << 16U];
    off_t at = 0;
    for (ssize_t n = 0; (n = pread(memory, block, sizeof block, at)) > 0; at += n)
        std::fwrite(block, 1, static_cast<std::size_t>(n), out);
    ::close(memory);
    if (!written) throw InputError(name + ": " + fault);
    out.close();
}

// --- the files of a command --------------------------------------------------------------------------------------

FilePlan& FilePlan::in(const std::string& option, const std::string& name) {
    if (!name.empty()) in_.push_back({option, name});
    return *this;
}

FilePlan& FilePlan::in(const std::string& option, const std::vector<std::string>& names) {
    for (const std::string& name : names) in(option, name);
    return *this;
}

FilePlan& FilePlan::out(const std::string& option, const std::string& name) {
    if (!name.empty()) out_.push_back({option, name});
    return *this;
}

std::vector<std::pair<std::string, std::string>> FilePlan::inputs() const {
    std::vector<std::pair<std::string, std::string>> all;
    for (const File& file : in_) all.emplace_back(file.option, file.name);
    return all;
}

void FilePlan::check_output(std::size_t index) const {
    const File& file = out_[index];
    const std::string head = file.option + " " + file.name + ": ";
    const Identity id = identity_of(file.name, false);
    for (const File& input : in_) {
        const Identity other = identity_of(input.name, true);
        if (!(id.shared && other.shared) && same(id, other))
            throw InputError(head + "this is the file of " + input.option + " " + input.name +
                             ", and would be overwritten");
    }
    for (std::size_t i = 0; i < index; ++i) {
        // Two tables on one terminal can't be told apart either.
        if (is_standard_output(file.name) && is_standard_output(out_[i].name))
            throw InputError(head + "standard output is that of " + out_[i].option + " already");
        if (!id.shared && same(id, identity_of(out_[i].name, false)))
            throw InputError(head + "this is the file of " + out_[i].option + " " + out_[i].name + " as well");
    }
    if (const int reason = fault_of(file.name); reason != 0) refuse(file.name, reason);
}

void FilePlan::check() const {
    std::string reader;
    for (const File& file : in_) {
        if (file.name != "-" && file.name != "/dev/stdin") continue;
        if (!reader.empty())
            throw InputError(file.option + " " + file.name + ": standard input is read for " + reader + " already");
        reader = file.option;
    }
    bool to_standard_output = false;
    for (std::size_t i = 0; i < out_.size(); ++i) {
        check_output(i);
        to_standard_output = to_standard_output || is_standard_output(out_[i].name);
    }
    // What is printed must not end up in an input either.
    const Identity printed = identity_of("-", false);
    for (const File& input : in_) {
        if (!printed.shared && printed.exists && S_ISREG(printed.info.st_mode) &&
            same(printed, identity_of(input.name, true)))
            throw InputError(input.option + " " + input.name + ": standard output is written into this file");
    }
    if (to_standard_output && data_descriptor == STDOUT_FILENO) {
        // The data alone go to standard output; the summary goes to standard error.
        std::fflush(stdout);
        data_descriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
        if (data_descriptor < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) refuse("standard output", errno);
    }
}

void say_written(const char* what, const std::string& file, const std::string& more) {
    if (!file.empty()) std::printf("%s written: %s%s\n", what, file.c_str(), more.c_str());
}

void close_standard_output() {
    errno = 0;
    const bool bad = std::ferror(stdout) != 0;
    if (std::fflush(stdout) == 0 && !bad) return;
    const int reason = errno;
    throw InputError(std::string("standard output: could not be written to its end") +
                     (reason != 0 ? std::string(": ") + std::strerror(reason) : ""));
}

}  // namespace host
