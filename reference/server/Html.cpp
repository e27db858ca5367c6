#include "Html.h"

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

const char style[] = R"(
*{box-sizing:border-box}
body{margin:0;background:#F5F7FA;color:#1D2433;font:14px/1.6 "Noto Sans CJK SC","Noto Sans SC",sans-serif}
main{max-width:1200px;margin:0 auto;padding:24px}
main.narrow{max-width:420px}
section,.card{background:#fff;border:1px solid #E5E8EF;border-radius:8px;padding:24px;margin-bottom:24px}
h1{font-size:20px;font-weight:500;margin:0 0 12px}
h2{font-size:16px;font-weight:500;margin:0 0 12px}
table{width:100%;border-collapse:collapse}
th{color:#5B6577;font-weight:400;text-align:left}
th,td{padding:8px 12px 8px 0;border-bottom:1px solid #E5E8EF;vertical-align:top;overflow-wrap:anywhere}
tr:last-child td{border-bottom:0}
dl{display:grid;grid-template-columns:max-content 1fr;gap:4px 16px}
dt,.second{color:#5B6577}
dd{margin:0;overflow-wrap:anywhere}
code{font-size:12px;white-space:pre-wrap;overflow-wrap:anywhere}
button{height:28px;padding:0 12px;margin:0 4px 4px 0;border:1px solid #2468F2;border-radius:6px;background:#fff;color:#2468F2;font:inherit;cursor:pointer}
button:hover{background:#2468F2;color:#fff}
button:focus-visible,input:focus-visible,select:focus-visible{outline:2px solid #2468F2;outline-offset:2px}
main.narrow button{height:36px;min-width:120px;background:#2468F2;color:#fff}
main.narrow button.plain{background:#fff;color:#2468F2}
input,select{height:36px;padding:0 8px;border:1px solid #E5E8EF;border-radius:8px;background:#fff;color:inherit;font:inherit}
label{display:inline-block;margin:0 12px 8px 0;color:#5B6577}
.good{color:#0E7A54}
.warn{color:#B4500B}
.bad{color:#D6362B}
.none{color:#5B6577;margin:0}
)";

QByteArray wholePage(const QString& title, const QString& body, const QString& mainClass, const QString& script) {
    QString html = u"<!DOCTYPE html><html lang=\"zh-CN\"><head><meta charset=\"utf-8\">"
                   "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\"><title>"_s +
        escaped(title) + u"</title><style>"_s + QString::fromUtf8(style) + u"</style></head><body><main"_s + mainClass +
        u'>' + body + u"</main>"_s;
    if (!script.isEmpty())
        html += u"<script>"_s + script + u"</script>"_s;
    return (html + u"</body></html>\n"_s).toUtf8();
}

} // namespace

QString escaped(const QString& text) {
    // toHtmlEscaped leaves the single quote alone; attributes here are all in double quotes.
    return text.toHtmlEscaped();
}

QByteArray page(const QString& title, const QString& body, const QString& script) {
    return script.isEmpty()
        ? wholePage(title, u"<div class=\"card\">"_s + body + u"</div>"_s, u" class=\"narrow\""_s, {})
        : wholePage(title, body, {}, script);
}

QByteArray messagePage(const QString& title, const QString& text) {
    return page(title, u"<h1>%1</h1><p>%2</p>"_s.arg(escaped(title), escaped(text)));
}

} // namespace Reference
