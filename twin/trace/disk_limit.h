// A full disk, as this process meets it.
#pragma once

namespace twin {

// From here on no byte can be written to a regular file, or it can again. Any thread.
void limitDisk(bool full);

// While one lives, the twin's own files and output are exempt from a full disk.
class OwnWriting {
public:
    OwnWriting();
    ~OwnWriting();
    OwnWriting(const OwnWriting&) = delete;
    OwnWriting& operator=(const OwnWriting&) = delete;
};

}  // namespace twin
