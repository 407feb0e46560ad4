#pragma once
// A growable byte string in a heap buffer, used to build conversion results.
//
// There is deliberately no destructor: str() hands the buffer to the caller,
// who releases it with free(). A string that never got a buffer (nothing was
// reserved or appended) hands over null.

class xString {
public:
    xString() = default;
    xString(const xString&) = delete;
    xString& operator=(const xString&) = delete;

    // Makes room for n bytes plus the 0 byte after them. Returns 0, or -1 when
    // the memory cannot be had, leaving the string as it was.
    int reserve(int n);

    // Appends n bytes of s (n == -1: strlen(s)). Returns 0, or -1 when the
    // room cannot be reserved, leaving the string as it was. s must not point
    // into this string's own buffer.
    int append(const char* s, int n = -1);

    // Appends one byte; 0 or -1 as append().
    int operator+=(char c);

    int length() const { return m_length; }
    int capacity() const { return m_capacity; }
    char* str() const { return m_buf; }

private:
    char* m_buf { nullptr }; // m_length bytes, then a 0 byte; null until the first reservation
    int m_length { 0 };
    int m_capacity { 0 }; // bytes that fit before the 0 byte
};
