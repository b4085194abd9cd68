// Files that are written as a whole or not at all.
#ifndef TESSMAKER_FORMATS_ATOMIC_FILE_H
#define TESSMAKER_FORMATS_ATOMIC_FILE_H

#include <cstdio>
#include <string>

namespace kv7::tessmaker {

// A stream to write a file through.
//
// A new file and one that replaces a regular file get their name from `commit`: until then the
// contents stand in a file of another name in the same folder, so nobody ever sees half of them,
// and a file of that name stays as it is when the writing fails or the process is killed. (After a
// kill the other file may be left; its name begins with a point and goes on with that of the file.)
// The contents are handed to the system, not forced to the disk: this is no promise for the loss of
// power.
//
// Symbolic links are followed and stay links; the file behind them is replaced. It keeps its mode,
// and its owner where the system allows that; it must be writable. Of several writers of one file
// the last to commit wins.
//
// Anything else that has the name, such as a device or a pipe, is written straight, and so is the
// standard output, whose path is "-".
//
// Memory failure is std::bad_alloc.
class atomic_file {
public:
    explicit atomic_file(const char* path);
    // Without a commit nothing has happened, but for what was written straight.
    ~atomic_file();
    atomic_file(const atomic_file&) = delete;
    atomic_file& operator=(const atomic_file&) = delete;

    // Whether the stream could be opened.
    explicit operator bool() const { return file_ != nullptr; }
    std::FILE* get() const { return file_; }

    // Ends the writing, after which there is no stream. False if anything that was written did not
    // reach the file. `commit` does so where it is still to be done.
    bool end();
    // Gives the file its name. False, and no file of the name or the former one, if anything that
    // was written did not reach the file.
    bool commit();

    // The `errno` of the first failure; 0 if there is none.
    int error() const { return error_; }

private:
    void open_beside();
    void remember_error();
    bool end_stream();
    void remove_other();

    std::FILE* file_ = nullptr;
    std::string target_;    // resolved; empty if written straight
    std::string other_;     // what is written until the commit; empty if there is none
    bool is_whole_ = false; // between the end and the commit
    int error_ = 0;
};

} // namespace kv7::tessmaker

#endif
