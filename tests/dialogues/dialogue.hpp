#pragma once

#include "dialogues/recorder.hpp"
#include "unit/modem/modem_fixture.hpp"

#include <map>
#include <string>

/// A file of a dialogue: comments ("# "), what happens ("> " and a verb with its words, `verbs` in
/// dialogue.cpp), and below each of those what left the daemon.
class Dialogue : public ModemFixture {
protected:
    explicit Dialogue(const std::string& script);
    Dialogue(const Dialogue&) = delete;
    Dialogue& operator=(const Dialogue&) = delete;
    ~Dialogue() override; ///< the unit outlives what records it

    /// What the file says when all this happens now.
    std::string played(const std::string& script);

private:
    void act(const std::string& verb_and_words);
    void let_pass(const std::function<bool()>& enough);
    void write_unit_files();

    friend struct Verbs;

    Recorder recorder_;
    std::string told_; ///< in place of what the recorder has
    std::map<std::string, std::string> variables_;
    std::map<std::string, std::string> parameters_;
};
