#pragma once
// By the files owner: qelcore::filesupport::Dir, File, FileIterator, file_exception, dir_exception.
// StillSequence needs: Dir(UTF16String path), FullPath(), GetName(), BeginFiles()/EndFiles() with a
// FileIterator whose value has FullPath(), GetName(), Exists(), Modified() (a boost::posix_time::ptime).
