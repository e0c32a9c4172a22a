// The entry into the source analysis of one preprocessed file.
#ifndef QUB_PREPARSE_ANALYSE_H
#define QUB_PREPARSE_ANALYSE_H

// 21 when the end of input was reached; 22 when the file cannot be opened (message
// arguments set); 14 after an internal error.
int pre_analyse_file(const char *preprocessed_path, const char *source_name);

#endif
